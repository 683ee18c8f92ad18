#include "remains.h"

#include "common/mpegaudio.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace {

constexpr std::uint64_t leastLargest = 4096; // pieces of sound may vary up to this
constexpr std::uint64_t longestSilence = 64U << 10U; // of PCM, in one piece
constexpr std::uint64_t enoughZeros = 64U << 10U; // at both ends of a hole
constexpr std::size_t fewestGaps = 2; // that speak for sound without a header

enum class GapKind { Unknown, Padding, Zeros, BrokenUnit };

struct Gap {
    Span span; ///< without padding
    GapKind kind = GapKind::Unknown;
};

std::uint64_t zerosFrom(Bytes bytes, std::uint64_t begin, std::uint64_t end)
{
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(begin);
    const auto last = bytes.begin() + static_cast<std::ptrdiff_t>(end);
    return static_cast<std::uint64_t>(std::find_if(first, last, [](std::uint8_t byte) { return byte != 0; })
                                      - first);
}

/// A unit that begins here but of which something is missing.
bool isBrokenUnit(Bytes bytes, VideoCodec codec, const Span &gap)
{
    constexpr std::uint64_t headSize = 32;
    constexpr std::uint32_t leastSize = 64; // shorter ones would come from sound too often
    if (gap.size < 8)
        return false;
    const std::uint32_t size = bigEndian32(bytes.data() + gap.offset);
    const Bytes head = bytes.subspan(gap.offset + 4, std::min(gap.size - 4, headSize));
    if (size < leastSize || size > maximumUnitSize)
        return false;
    const auto kind = kindOf(codec, head.data());
    return kind && (*kind == UnitKind::Slice ? sliceStartOf(codec, head).has_value() : size < maximumSetSize);
}

/// The camera begins each sample at a multiple of this; 1 if it doesn't pad.
std::uint64_t alignmentOf(const Landmarks &landmarks)
{
    constexpr std::array<std::uint64_t, 4> usual{4096, 2048, 1024, 512};
    std::array<std::size_t, usual.size()> counts{};
    std::size_t count = 0;
    std::uint64_t end = 0;
    for (const FoundUnit &unit : landmarks.units) {
        if (unit.offset != end) {
            ++count;
            for (std::size_t i = 0; i < usual.size(); ++i)
                counts[i] += unit.offset % usual[i] == 0 ? 1U : 0U;
        }
        end = unit.end();
    }
    for (std::size_t i = 0; i < usual.size(); ++i) {
        if (count > 0 && counts[i] * 10 >= count * 8)
            return usual[i];
    }
    return 1;
}

/// Several padded samples of sound may stand one behind the other.
std::vector<Span> piecesOf(Bytes bytes, std::uint64_t alignment, const Span &span)
{
    std::vector<Span> pieces{span};
    if (alignment == 1)
        return pieces;
    for (std::uint64_t at = (span.offset / alignment + 1) * alignment; at < span.end(); at += alignment) {
        const bool isPadded = at >= span.offset + 2 && bytes[at - 1] == 0 && bytes[at - 2] == 0;
        if (!isPadded || bytes[at] == 0)
            continue;
        pieces.back().size = at - pieces.back().offset;
        pieces.push_back({at, span.end() - at});
    }
    return pieces;
}

Gap gapOf(Bytes bytes, VideoCodec codec, std::uint64_t alignment, Span span)
{
    const std::uint64_t zeros = zerosFrom(bytes, span.offset, span.offset + std::min(span.size, enoughZeros));
    const std::uint64_t tail = span.end() - std::min(span.size, enoughZeros);
    if (zeros >= std::min(span.size, enoughZeros)
        && zerosFrom(bytes, tail, span.end()) == span.end() - tail) {
        const bool isPadding = span.size < alignment && span.end() % alignment == 0;
        return {span, isPadding ? GapKind::Padding : GapKind::Zeros};
    }
    const std::uint64_t padding = (alignment - span.offset % alignment) % alignment;
    if (zeros >= padding)
        span = {span.offset + padding, span.size - padding};
    if (alignment > 1 && span.end() % alignment == 0) {
        std::uint64_t end = span.end();
        while (bytes[end - 1] == 0)
            --end;
        span.size = end - span.offset;
    }
    return {span, isBrokenUnit(bytes, codec, span) ? GapKind::BrokenUnit : GapKind::Unknown};
}

/// Calls `take(Span)` for each stretch of the payload that no landmark covers, in order.
template <typename Take> void forEachGap(Span payload, const Landmarks &landmarks, Take take)
{
    std::size_t unit = 0;
    std::size_t block = 0;
    std::size_t box = 0;
    std::uint64_t at = payload.offset;
    while (at < payload.end()) {
        Span next{payload.end(), 0};
        std::size_t *chosen = nullptr;
        const auto offer = [&](std::uint64_t begin, std::uint64_t end, std::size_t &index) {
            if (begin < next.offset) {
                next = {begin, end - begin};
                chosen = &index;
            }
        };
        if (unit < landmarks.units.size())
            offer(landmarks.units[unit].offset, landmarks.units[unit].end(), unit);
        if (block < landmarks.blocks.size())
            offer(landmarks.blocks[block].offset, landmarks.blocks[block].end(), block);
        if (box < landmarks.boxes.size())
            offer(landmarks.boxes[box].offset, landmarks.boxes[box].end(), box);
        if (next.offset > at)
            take(Span{at, next.offset - at});
        if (chosen == nullptr)
            return;
        ++*chosen;
        at = std::max(at, next.end());
    }
}

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

/// How much neighbouring 16-bit numbers differ, relative to what numbers by chance would: 1 for these.
double roughness(Bytes bytes, bool isBigEndian)
{
    const auto sample = [&](std::size_t i) {
        const unsigned low = bytes[2 * i + (isBigEndian ? 1 : 0)];
        const unsigned high = bytes[2 * i + (isBigEndian ? 0 : 1)];
        return static_cast<double>(static_cast<std::int16_t>(high << 8U | low));
    };
    // Two channels alternate, so the number before the last is looked at, too.
    double differences = 0;
    double farDifferences = 0;
    double sum = 0;
    const std::size_t count = bytes.size() / 2;
    for (std::size_t i = 2; i < count; ++i) {
        differences += std::abs(sample(i) - sample(i - 1));
        farDifferences += std::abs(sample(i) - sample(i - 2));
        sum += std::abs(sample(i));
    }
    constexpr double chanceRatio = 4.0 / 3;
    return sum == 0 ? 1 : std::min(differences, farDifferences) / sum / chanceRatio;
}

bool isSmooth(Bytes bytes)
{
    constexpr std::size_t enough = 4096;
    constexpr double most = 0.7;
    const Bytes head = bytes.first(std::min(bytes.size(), enough));
    return std::min(roughness(head, false), roughness(head, true)) < most;
}

std::uint64_t medianSize(const std::vector<Gap> &gaps)
{
    std::vector<std::uint64_t> sizes;
    for (const Gap &gap : gaps) {
        if (gap.kind == GapKind::Unknown)
            sizes.push_back(gap.span.size);
    }
    if (sizes.empty())
        return 0;
    const auto middle = sizes.begin() + static_cast<std::ptrdiff_t>(sizes.size() / 2);
    std::nth_element(sizes.begin(), middle, sizes.end());
    return *middle;
}

class Classification
{
public:
    Classification(Bytes bytes, std::vector<Gap> gaps, const Landmarks &landmarks)
        : m_bytes(bytes)
        , m_gaps(std::move(gaps))
        , m_landmarks(landmarks)
        , m_largest(std::max<std::uint64_t>(leastLargest, 8 * medianSize(m_gaps)))
    {
    }

    [[nodiscard]] SoundShape shape() const { return {kind(), m_largest}; }

    Remains run()
    {
        m_remains.sound.kind = kind();
        for (const Gap &gap : m_gaps)
            sort(gap);
        return std::move(m_remains);
    }

private:
    [[nodiscard]] bool maySound(const Gap &gap) const
    {
        return gap.kind == GapKind::Unknown && gap.span.size <= m_largest;
    }

    [[nodiscard]] Bytes bytesOf(const Span &span) const { return m_bytes.subspan(span.offset, span.size); }

    /// Most of the left-over bytes are whole frames with headers alike.
    [[nodiscard]] bool isMpegAudio() const
    {
        std::uint64_t left = 0;
        std::uint64_t framed = 0;
        std::size_t frame = 0;
        const auto &frames = m_landmarks.soundFrames;
        for (const Gap &gap : m_gaps) {
            if (!maySound(gap))
                continue;
            left += gap.span.size;
            while (frame < frames.size() && frames[frame].offset < gap.span.offset)
                ++frame;
            for (; frame < frames.size() && frames[frame].end() <= gap.span.end(); ++frame)
                framed += frames[frame].size;
        }
        return framed > 0 && framed * 10 >= left * 7;
    }

    [[nodiscard]] SoundKind kind() const
    {
        if (isMpegAudio())
            return SoundKind::Mp3;
        std::size_t count = 0;
        std::size_t aac = 0;
        std::size_t smooth = 0;
        for (const Gap &gap : m_gaps) {
            constexpr std::uint64_t leastSize = 4;
            if (!maySound(gap) || gap.span.size < leastSize)
                continue;
            ++count;
            aac += isAacStart(bytesOf(gap.span)) ? 1U : 0U;
            smooth += isSmooth(bytesOf(gap.span)) ? 1U : 0U;
        }
        if (smooth * 10 >= count * 6 && count > 0)
            return SoundKind::Pcm16;
        if (count < fewestGaps)
            return SoundKind::None;
        if (aac * 10 >= count * 7)
            return SoundKind::Aac;
        // Leftovers of damage are few.
        return aac * 2 >= count || count * 20 > m_landmarks.units.size() ? SoundKind::Aac : SoundKind::None;
    }

    void sort(const Gap &gap)
    {
        const SoundKind sound = m_remains.sound.kind;
        if (gap.kind == GapKind::Padding)
            return;
        const bool isSilence =
            gap.kind == GapKind::Zeros && sound == SoundKind::Pcm16 && gap.span.size <= longestSilence;
        if (sound != SoundKind::None && (isSilence || maySound(gap)))
            m_remains.sound.stretches.push_back(gap.span);
        else
            m_remains.losses.push_back(gap.span);
    }

    Bytes m_bytes;
    std::vector<Gap> m_gaps;
    const Landmarks &m_landmarks;
    std::uint64_t m_largest; ///< no piece of sound is longer
    Remains m_remains;
};

std::vector<Gap> gapsOf(Bytes bytes, Span part, const Landmarks &landmarks)
{
    std::vector<Gap> gaps;
    const std::uint64_t alignment = alignmentOf(landmarks);
    forEachGap(part, landmarks, [&](const Span &span) {
        for (const Span &piece : piecesOf(bytes, alignment, span))
            gaps.push_back(gapOf(bytes, landmarks.codec, alignment, piece));
    });
    return gaps;
}

} // namespace

SoundShape soundShapeOf(Bytes bytes, Span part, const Landmarks &landmarks)
{
    return Classification(bytes, gapsOf(bytes, part, landmarks), landmarks).shape();
}

std::vector<Span> leftoversIn(Bytes bytes, Span part, const Landmarks &landmarks)
{
    std::vector<Span> leftovers;
    for (const Gap &gap : gapsOf(bytes, part, landmarks)) {
        if (gap.kind == GapKind::Unknown || gap.kind == GapKind::BrokenUnit)
            leftovers.push_back(gap.span);
    }
    return leftovers;
}

bool isSoundStart(SoundKind kind, Bytes bytes)
{
    switch (kind) {
    case SoundKind::None: return false;
    case SoundKind::Aac: return isAacStart(bytes);
    case SoundKind::Mp3: return mpegAudioHeaderAt(bytes).has_value();
    case SoundKind::Pcm16: return isSmooth(bytes);
    }
    return false;
}

Remains classifyRemains(Bytes bytes, Span payload, const Landmarks &landmarks)
{
    return Classification(bytes, gapsOf(bytes, payload, landmarks), landmarks).run();
}
