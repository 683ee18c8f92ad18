#include "sound/soundstart.h"

#include "common/mpegaudio.h"

#include <algorithm>
#include <cstdlib>

namespace {

/// Reads a few bits, highest first.
unsigned bitsAt(const std::uint8_t *bytes, unsigned position, unsigned count)
{
    unsigned value = 0;
    for (unsigned i = position; i < position + count; ++i)
        value = value << 1U | ((bytes[i / 8] >> (7 - i % 8)) & 1U);
    return value;
}

/// A raw data block of AAC (ISO/IEC 14496-3, 4.4.2): one or two channels, instance 0, a believable window.
bool isAacStart(Bytes bytes)
{
    if (bytes.size() < 8)
        return false;
    const std::uint8_t *data = bytes.data();
    constexpr unsigned shortWindows = 2;
    constexpr unsigned single = 0;
    constexpr unsigned pair = 1;
    constexpr unsigned fill = 6;
    const unsigned element = bitsAt(data, 0, 3);
    if (element == fill) // such as an encoder puts its name into
        return bitsAt(data, 3, 4) == 15;
    if ((element != single && element != pair) || bitsAt(data, 3, 4) != 0)
        return false;
    unsigned at = 7;
    if (element == single && bitsAt(data, at, 8) == 0)
        return false; // without gain
    if (element == single)
        at += 8;
    else if (bitsAt(data, at++, 1) == 0)
        at += 8; // no common window: the first channel's gain comes first
    const bool isReserved = bitsAt(data, at, 1) != 0;
    const unsigned window = bitsAt(data, at + 1, 2);
    if (isReserved || window == shortWindows)
        return !isReserved;
    constexpr unsigned mostBands = 51;
    return bitsAt(data, at + 4, 6) <= mostBands && bitsAt(data, at + 10, 1) == 0;
}

double sampleAt(Bytes bytes, std::size_t offset, bool isBigEndian)
{
    const unsigned high = bytes[offset + (isBigEndian ? 0 : 1)];
    const unsigned low = bytes[offset + (isBigEndian ? 1 : 0)];
    return static_cast<std::int16_t>(high << 8U | low);
}

/// Quiet, or each sample near the one before it or, of two channels, the one before that.
bool isPcmLike(Bytes bytes, bool isBigEndian)
{
    constexpr double mostRough = 0.8; // of the mean loudness; 4/3 by chance
    constexpr double quiet = 6000; // 16384 by chance
    double sum = 0;
    for (std::size_t at = 0; at + 2 <= bytes.size(); at += 2)
        sum += std::abs(sampleAt(bytes, at, isBigEndian));
    const double loudness = sum / (double(bytes.size()) / 2);
    return loudness < quiet
        || std::min(pcmRoughness(bytes, isBigEndian, 0, 1, 1), pcmRoughness(bytes, isBigEndian, 0, 2, 1))
        < mostRough * loudness;
}

bool isPcmStart(Bytes bytes)
{
    constexpr std::size_t enough = 4096;
    constexpr std::size_t tooFew = 32;
    const auto loud = std::find_if(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte != 0; });
    const auto silent = static_cast<std::size_t>(loud - bytes.begin()) / 2 * 2;
    const Bytes head = bytes.subspan(silent, std::min(bytes.size() - silent, enough));
    return head.size() >= tooFew && (isPcmLike(head, false) || isPcmLike(head, true));
}

} // namespace

double pcmRoughness(Bytes bytes, bool isBigEndian, std::size_t start, std::size_t step, std::size_t stride)
{
    double sum = 0;
    std::size_t count = 0;
    for (std::size_t at = start; at + 2 * step + 2 <= bytes.size(); at += 2 * stride, ++count)
        sum += std::abs(sampleAt(bytes, at + 2 * step, isBigEndian) - sampleAt(bytes, at, isBigEndian));
    return count > 0 ? sum / double(count) : 0;
}

bool isSoundStart(SoundKind kind, Bytes bytes)
{
    switch (kind) {
    case SoundKind::None: return false;
    case SoundKind::Aac: return isAacStart(bytes);
    case SoundKind::Mp3: return mpegAudioHeaderAt(bytes).has_value();
    case SoundKind::Pcm16: return isPcmStart(bytes);
    }
    return false;
}
