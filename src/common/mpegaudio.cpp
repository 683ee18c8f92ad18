#include "mpegaudio.h"

#include <array>

std::optional<MpegAudioHeader> mpegAudioHeaderAt(std::span<const std::uint8_t> bytes)
{
    constexpr std::array<int, 16> kilobitsOfVersion1{0,   32,  40,  48,  56,  64,  80,  96,
                                                     112, 128, 160, 192, 224, 256, 320, 0};
    constexpr std::array<int, 16> kilobitsOfVersion2{0,  8,  16, 24,  32,  40,  48,  56,
                                                     64, 80, 96, 112, 128, 144, 160, 0};
    constexpr std::array<int, 4> ratesOfVersion1{44100, 48000, 32000, 0};
    if (bytes.size() < 4 || bytes[0] != 0xff || (bytes[1] & 0xe6U) != 0xe2)
        return std::nullopt;
    const unsigned version = (bytes[1] >> 3U) & 3U; // 3: 1, 2: 2, 0: 2.5
    const unsigned rateIndex = (bytes[2] >> 2U) & 3U;
    const bool isVersion1 = version == 3;
    const int kilobits = (isVersion1 ? kilobitsOfVersion1 : kilobitsOfVersion2)[bytes[2] >> 4U];
    if (version == 1 || kilobits == 0 || rateIndex == 3 || (bytes[3] & 3U) == 2)
        return std::nullopt;
    MpegAudioHeader header;
    header.sampleRateHz = ratesOfVersion1[rateIndex] / (isVersion1 ? 1 : version == 2 ? 2 : 4);
    header.channelCount = (bytes[3] >> 6U) == 3 ? 1 : 2;
    header.samplesPerFrame = isVersion1 ? 1152 : 576;
    const int padding = (bytes[2] >> 1U) & 1;
    header.frameSize = static_cast<std::uint32_t>(
        header.samplesPerFrame / 8 * kilobits * 1000 / header.sampleRateHz + padding);
    return header;
}
