#include "sound/remains.h"

#include "sound/soundstart.h"

#include <algorithm>
#include <array>
#include <optional>

namespace {

constexpr std::uint64_t leastLargest = 4096; // pieces of sound may vary up to this
constexpr std::uint64_t sectorSize = 512;
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
        while (end > span.offset && bytes[end - 1] == 0)
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

/// Cut at zeros that no coded sound contains.
std::vector<Span> betweenZeros(Bytes bytes, const Span &span)
{
    constexpr std::uint64_t impossible = 64;
    std::vector<Span> parts;
    std::uint64_t begin = span.offset;
    std::uint64_t zeros = 0;
    for (std::uint64_t at = span.offset; at <= span.end(); ++at) {
        if (at < span.end() && bytes[at] == 0) {
            ++zeros;
            continue;
        }
        if (zeros >= impossible) {
            if (at - zeros > begin)
                parts.push_back({begin, at - zeros - begin});
            // A frame of AAC may begin with a zero.
            const std::uint64_t border = at / sectorSize * sectorSize;
            begin = at - border <= 1 ? border : at;
        }
        zeros = 0;
    }
    if (begin < span.end())
        parts.push_back({begin, span.end() - begin});
    return parts;
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
        , m_alignment(alignmentOf(landmarks))
        , m_usual(medianSize(m_gaps))
        , m_largest(std::max<std::uint64_t>(leastLargest, 8 * m_usual))
    {
    }

    [[nodiscard]] SoundShape shape() const { return {kind(), m_largest}; }

    Remains run(Span payload)
    {
        m_end = payload.end();
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
        std::uint64_t size = 0;
        std::uint64_t smooth = 0;
        for (const Gap &gap : m_gaps) {
            constexpr std::uint64_t leastSize = 4;
            if (!maySound(gap) || gap.span.size < leastSize)
                continue;
            ++count;
            aac += isSoundStart(SoundKind::Aac, bytesOf(gap.span)) ? 1U : 0U;
            size += gap.span.size;
            smooth += isSoundStart(SoundKind::Pcm16, bytesOf(gap.span)) ? gap.span.size : 0;
        }
        if (smooth * 10 >= size * 6 && count > 0)
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
        if (gap.kind == GapKind::Padding)
            return;
        if (m_remains.sound.kind == SoundKind::None) {
            lose(gap.span);
            return;
        }
        std::uint64_t end = gap.span.offset;
        // Zeros are silence in PCM, and a hole in it lasts as long as the sound did.
        const bool isPcm = m_remains.sound.kind == SoundKind::Pcm16;
        for (const Span &part :
             isPcm ? std::vector{withoutTail(gap.span)} : betweenZeros(m_bytes, gap.span)) {
            loseUnlessPadding({end, part.offset - end});
            const bool isCut = part.end() != gap.span.end() || part.end() == m_end;
            sortCoded(part, isCut || part.size > m_largest);
            end = part.end();
        }
        loseUnlessPadding({end, gap.span.end() - end});
    }

    /// Coded sound up to a unit that isn't whole, and behind it if it ends in the part. Only what damage cut
    /// is searched beyond its beginning, as sound reads as such a unit now and then.
    void sortCoded(const Span &part, bool isCut)
    {
        std::uint64_t unit = part.offset;
        const std::uint64_t last = isCut ? unit + std::min(part.size, m_largest) : unit + 1;
        while (unit < last && !isBrokenUnitAt(unit, part.end()))
            unit += m_alignment - unit % m_alignment;
        if (unit >= last) {
            if (part.size <= m_largest)
                m_remains.sound.stretches.push_back(part);
            else
                lose(part);
            return;
        }
        if (unit > part.offset)
            m_remains.sound.stretches.push_back({part.offset, unit - part.offset});
        const std::uint64_t end = std::min(unitEnd(unit), part.end());
        lose({unit, end - unit});
        if (end < part.end())
            sortCoded({end, part.end() - end}, isCut);
    }

    [[nodiscard]] std::uint64_t unitEnd(std::uint64_t unit) const
    {
        return unit + 4 + bigEndian32(m_bytes.data() + unit);
    }

    /// One that is cut off, or with a hole and sound behind it.
    [[nodiscard]] bool isBrokenUnitAt(std::uint64_t unit, std::uint64_t end) const
    {
        if (!isBrokenUnit(m_bytes, m_landmarks.codec, {unit, end - unit}))
            return false;
        const std::uint64_t behind = unitEnd(unit);
        return behind >= end
            || (end - behind <= m_largest
                && isSoundStart(m_remains.sound.kind, m_bytes.subspan(behind, end - behind)));
    }

    /// Zeros at the end of a piece fill up to the next sample's place, or were never written at all.
    [[nodiscard]] Span withoutTail(Span piece) const
    {
        constexpr std::uint64_t blockSize = 4096;
        const bool isPadded = m_alignment > 1 || (piece.end() == m_end && piece.end() % blockSize == 0);
        while (isPadded && piece.size > 0 && m_bytes[piece.end() - 1] == 0)
            --piece.size;
        piece.size += piece.size % 2;
        return piece;
    }

    void lose(const Span &span)
    {
        if (span.size > 0)
            m_remains.losses.push_back(span);
    }

    void loseUnlessPadding(const Span &span)
    {
        if (span.size >= m_alignment || zerosFrom(m_bytes, span.offset, span.end()) < span.size)
            lose(span);
    }

    Bytes m_bytes;
    std::vector<Gap> m_gaps;
    const Landmarks &m_landmarks;
    std::uint64_t m_alignment;
    std::uint64_t m_end = 0; ///< of the recording
    std::uint64_t m_usual; ///< bytes between two other things
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

Remains classifyRemains(Bytes bytes, Span payload, const Landmarks &landmarks)
{
    return Classification(bytes, gapsOf(bytes, payload, landmarks), landmarks).run(payload);
}
