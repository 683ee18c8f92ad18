#include "aacrescue.h"

#include "soundstart.h"

#include <algorithm>

namespace {

constexpr std::uint64_t longestEnd = 4096; // several frames of AAC
constexpr std::size_t mostTrials = 20'000; // of a damaged file; some 50 us each

} // namespace

AacRescue::AacRescue(Bytes bytes, const SoundFormat &format)
    : m_bytes(bytes)
    , m_format(format)
    , m_decoder(openAacDecoder(format.sampleRateHz, format.channelCount))
    , m_packet(av_packet_alloc())
    , m_frame(av_frame_alloc())
    , m_trialsLeft(mostTrials)
{
}

std::optional<Span> AacRescue::endOf(const Span &part)
{
    constexpr std::uint64_t leastSize = 8;
    if (!m_decoder || !m_packet || !m_frame || part.size <= leastSize)
        return std::nullopt;
    for (std::uint64_t at = part.end() - std::min(part.size - 1, longestEnd); at + leastSize <= part.end();
         ++at) {
        const Bytes end = m_bytes.subspan(at, part.end() - at);
        if (!isSoundStart(SoundKind::Aac, end))
            continue;
        if (m_trialsLeft == 0)
            return std::nullopt;
        --m_trialsLeft;
        bool hasFrames = false;
        const bool isGood = decodeStretch(m_decoder.get(), m_packet.get(), m_frame.get(), end,
                                          [&hasFrames](const AVFrame *) { hasFrames = true; });
        if (isGood && hasFrames)
            return Span{at, part.end() - at};
    }
    return std::nullopt;
}

std::vector<Span> AacRescue::withEndsOf(const std::vector<Span> &losses, std::vector<Span> stretches)
{
    const auto isBefore = [](const Span &a, const Span &b) { return a.offset < b.offset; };
    std::vector<Span> rescued;
    for (const Span &loss : losses) {
        const auto next = std::lower_bound(stretches.begin(), stretches.end(), Span{loss.end(), 0}, isBefore);
        if (next != stretches.end() && next->offset == loss.end())
            continue;
        if (const auto end = endOf(loss))
            rescued.push_back(*end);
    }
    stretches.insert(stretches.end(), rescued.begin(), rescued.end());
    std::sort(stretches.begin(), stretches.end(), isBefore);
    return stretches;
}
