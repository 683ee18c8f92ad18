#include "reading/stretchsearch.h"

#include "common/mpegaudio.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr std::uint64_t lengthSize = 4;
constexpr std::uint64_t sectorSize = 512;
constexpr std::uint64_t longestPadding = 4096;
constexpr std::uint64_t shortestHole = 30; // zeros in a row within a damaged unit
constexpr std::uint64_t leastTail = 64; // zeros behind the last unit

// Scores are about natural logarithms of how much likelier the thing is for units than by chance.
namespace score {
constexpr double firstSlice = 4;
// Units that never stand alone must have a neighbour.
constexpr double laterSlice = -4;
// Nothing before it says that it begins there. What is coded alike all over holds many such that are none.
constexpr double unlinkedBefore = -4;
constexpr double wellFormed = -3;
constexpr double endUnit = -6;
constexpr double damaged = -10;
constexpr double perSizeDoubling = 0.2;
constexpr double soundFrame = -3; // by chance there are many
constexpr double unitToUnit = 8;
constexpr double unitToSound = 4;
constexpr double soundToUnit = 4;
constexpr double soundToSound = 6;
constexpr double soundToEnd = 2;
constexpr double toOpenUnit = 5;
constexpr double padded = -1; // the padding could be there by chance
constexpr double toTail = 3;
} // namespace score

struct Candidate {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    double weight = 0;
    UnitKind kind = UnitKind::Slice;
    bool isSound = false;
    bool isDamaged = false;
    bool isOpen = false; ///< begins well but reaches beyond the stretch: only others can be supported by it
    bool isFirstSlice = false;
};

/// The best way on from a candidate.
struct Way {
    double score = 0;
    std::size_t next = 0; ///< candidate, or their count for none
    bool isLinked = false;
};

class Stretch
{
public:
    Stretch(Bytes bytes, VideoCodec codec, Span stretch, StretchEnd end, const ScanHits &hits)
        : m_bytes(bytes)
        , m_codec(codec)
        , m_stretch(stretch)
        , m_end(end)
        , m_hits(hits)
    {
    }

    void findCandidates()
    {
        const auto begin =
            std::lower_bound(m_hits.unitStarts.begin(), m_hits.unitStarts.end(), m_stretch.offset);
        for (auto start = begin; start != m_hits.unitStarts.end() && *start < m_stretch.end(); ++start)
            addUnit(*start);
        const std::size_t unitCount = m_candidates.size();
        auto sound =
            std::lower_bound(m_hits.soundHeaders.begin(), m_hits.soundHeaders.end(), m_stretch.offset);
        for (; sound != m_hits.soundHeaders.end() && *sound < m_stretch.end(); ++sound)
            addSound(*sound);
        const auto isEarlier = [](const Candidate &a, const Candidate &b) { return a.begin < b.begin; };
        std::inplace_merge(m_candidates.begin(),
                           m_candidates.begin() + static_cast<std::ptrdiff_t>(unitCount), m_candidates.end(),
                           isEarlier);
    }

    void choose(SearchResult &result)
    {
        const std::size_t count = m_candidates.size();
        m_ways.resize(count);
        m_bestFrom.assign(count + 1, count);
        std::vector<double> best(count + 1, 0.0);
        m_bestScores = std::move(best);
        for (std::size_t i = count; i-- > 0;) {
            m_bestScores[i] = m_bestScores[i + 1];
            m_bestFrom[i] = m_bestFrom[i + 1];
            if (m_candidates[i].isOpen)
                continue;
            m_ways[i] = bestWay(i);
            const double entered =
                m_ways[i].score + (isEntrance(m_candidates[i]) ? score::unitToUnit : score::unlinkedBefore);
            if (entered > m_bestScores[i]) {
                m_bestScores[i] = entered;
                m_bestFrom[i] = i;
            }
        }
        result.score += m_bestScores[0];
        emit(result);
    }

private:
    void addUnit(std::uint64_t begin)
    {
        const std::uint64_t unitBegin = begin + lengthSize;
        if (unitBegin + 2 > m_stretch.end())
            return;
        const std::uint32_t size = bigEndian32(m_bytes.data() + begin);
        const auto kind = kindOf(m_codec, m_bytes.data() + unitBegin);
        if (!kind || size == 0 || size > maximumUnitSize)
            return;
        Candidate candidate{begin, unitBegin + size, 0, *kind};
        candidate.isOpen = candidate.end > m_stretch.end();
        if (*kind == UnitKind::Slice ? rateSlice(candidate) : rateOther(candidate))
            m_candidates.push_back(candidate);
    }

    [[nodiscard]] bool rateSlice(Candidate &candidate) const
    {
        const std::uint64_t begin = candidate.begin + lengthSize;
        const std::uint64_t end = std::min(candidate.end, m_stretch.end());
        const auto slice = sliceStartOf(m_codec, m_bytes.subspan(begin, end - begin));
        if (!slice)
            return false;
        candidate.isFirstSlice = slice->isFirst;
        candidate.weight = (slice->isFirst ? score::firstSlice : score::laterSlice)
            + score::perSizeDoubling * std::log2(static_cast<double>(candidate.end - begin));
        if (candidate.isOpen)
            return true;
        if (const Span *forbidden = firstForbidden(begin, candidate.end)) {
            candidate.isDamaged = true;
            candidate.weight = score::damaged;
            return forbidden->size >= shortestHole;
        }
        return m_bytes[candidate.end - 1] != 0;
    }

    [[nodiscard]] bool rateOther(Candidate &candidate) const
    {
        const std::uint64_t begin = candidate.begin + lengthSize;
        if (candidate.isOpen
            || !isWellFormed(m_codec, candidate.kind, m_bytes.subspan(begin, candidate.end - begin)))
            return false;
        candidate.weight = candidate.kind == UnitKind::End ? score::endUnit : score::wellFormed;
        return candidate.kind == UnitKind::End || firstForbidden(begin, candidate.end) == nullptr;
    }

    void addSound(std::uint64_t begin)
    {
        const auto header = mpegAudioHeaderAt(m_bytes.subspan(begin, m_stretch.end() - begin));
        if (!header || begin + header->frameSize > m_stretch.end())
            return;
        Candidate candidate{begin, begin + header->frameSize, score::soundFrame};
        candidate.isSound = true;
        m_candidates.push_back(candidate);
    }

    /// The first place within a unit that no unit has.
    [[nodiscard]] const Span *firstForbidden(std::uint64_t begin, std::uint64_t end) const
    {
        const auto isBefore = [](const Span &span, std::uint64_t place) { return span.end() <= place; };
        const auto found =
            std::lower_bound(m_hits.forbidden.begin(), m_hits.forbidden.end(), begin, isBefore);
        if (found == m_hits.forbidden.end() || std::max(found->offset, begin) + 3 > end)
            return nullptr;
        return &*found;
    }

    [[nodiscard]] std::size_t firstFrom(std::uint64_t place) const
    {
        const auto isBefore = [](const Candidate &candidate, std::uint64_t at) {
            return candidate.begin < at;
        };
        return static_cast<std::size_t>(
            std::lower_bound(m_candidates.begin(), m_candidates.end(), place, isBefore)
            - m_candidates.begin());
    }

    [[nodiscard]] bool isZero(std::uint64_t begin, std::uint64_t end) const
    {
        return std::all_of(m_bytes.begin() + static_cast<std::ptrdiff_t>(begin),
                           m_bytes.begin() + static_cast<std::ptrdiff_t>(end),
                           [](std::uint8_t byte) { return byte == 0; });
    }

    /// Padding fills up to the next sector.
    [[nodiscard]] bool isPadding(std::uint64_t begin, std::uint64_t end) const
    {
        return end > begin && end % sectorSize == 0 && end - begin < longestPadding && isZero(begin, end);
    }

    /// The candidate that begins where this place says that one should, if any: at once or behind padding.
    [[nodiscard]] std::size_t successor(std::uint64_t place, std::size_t first) const
    {
        constexpr std::size_t mostTries = 8;
        const std::size_t last = std::min(m_candidates.size(), first + mostTries);
        for (std::size_t i = first; i < last && m_candidates[i].begin < place + longestPadding; ++i) {
            if (m_candidates[i].begin == place || isPadding(place, m_candidates[i].begin))
                return i;
        }
        return m_candidates.size();
    }

    [[nodiscard]] static double linkScore(const Candidate &from, const Candidate &to)
    {
        if (to.isOpen)
            return score::toOpenUnit;
        if (from.isSound)
            return to.isSound ? score::soundToSound : score::soundToUnit;
        if (to.isSound)
            return score::unitToSound;
        return score::unitToUnit + (to.begin == from.end ? 0 : score::padded);
    }

    [[nodiscard]] Way bestWay(std::size_t index) const
    {
        const Candidate &candidate = m_candidates[index];
        const std::size_t count = m_candidates.size();
        const std::size_t first = firstFrom(candidate.end);
        Way way{m_bestScores[first], m_bestFrom[first], false};
        if (const double support = endSupport(candidate); support > 0) {
            way.score += support;
            way.isLinked = true;
        }
        const std::size_t next = successor(candidate.end, first);
        if (next < count) {
            const double rest = m_candidates[next].isOpen ? m_bestScores[next] : m_ways[next].score;
            const double linked = linkScore(candidate, m_candidates[next]) + rest;
            if (linked > way.score)
                way = {linked, m_candidates[next].isOpen ? m_bestFrom[next] : next, true};
        }
        way.score += candidate.weight;
        return way;
    }

    /// By what stands behind the stretch.
    [[nodiscard]] double endSupport(const Candidate &candidate) const
    {
        const std::uint64_t end = m_stretch.end();
        if (m_end != StretchEnd::Open && candidate.end <= end && end - candidate.end < longestPadding
            && (candidate.end == end || isPadding(candidate.end, end)))
            return candidate.isSound ? score::soundToEnd : score::unitToUnit;
        const std::uint64_t rest = std::min(end, candidate.end + leastTail);
        if (rest > candidate.end + lengthSize && isZero(candidate.end, rest))
            return candidate.isSound ? 0 : score::toTail;
        return 0;
    }

    [[nodiscard]] bool isEntrance(const Candidate &candidate) const
    {
        return candidate.begin == m_stretch.offset || isPadding(m_stretch.offset, candidate.begin);
    }

    void emit(SearchResult &result) const
    {
        const std::size_t count = m_candidates.size();
        std::size_t at = count == 0 ? 0 : m_bestFrom[0];
        bool isLinkedBefore = at < count && isEntrance(m_candidates[at]);
        while (at < count) {
            const Candidate &candidate = m_candidates[at];
            const Way &way = m_ways[at];
            if (candidate.isSound) {
                result.soundFrames.push_back({candidate.begin, candidate.end - candidate.begin});
            } else {
                const std::uint64_t unitBegin = candidate.begin + lengthSize;
                FoundUnit unit{candidate.begin, static_cast<std::uint32_t>(candidate.end - unitBegin),
                               candidate.kind, typeOf(m_codec, m_bytes.data() + unitBegin)};
                unit.isDamaged = candidate.isDamaged;
                unit.isLinkedBefore = isLinkedBefore;
                unit.isLinkedAfter = way.isLinked;
                if (candidate.kind == UnitKind::Slice)
                    unit.slice =
                        sliceStartOf(m_codec, m_bytes.subspan(unitBegin, unit.size)).value_or(SliceStart{});
                result.units.push_back(unit);
            }
            isLinkedBefore = way.isLinked;
            at = way.next;
        }
    }

    Bytes m_bytes;
    VideoCodec m_codec;
    Span m_stretch;
    StretchEnd m_end;
    const ScanHits &m_hits;
    std::vector<Candidate> m_candidates; ///< by their beginning
    std::vector<Way> m_ways; ///< with that candidate, per candidate
    std::vector<double> m_bestScores; ///< of a way that begins at the candidate or later
    std::vector<std::size_t> m_bestFrom; ///< where that way begins
};

} // namespace

void searchStretch(Bytes bytes, VideoCodec codec, Span stretch, StretchEnd end, const ScanHits &hits,
                   SearchResult &result)
{
    Stretch search(bytes, codec, stretch, end, hits);
    search.findCandidates();
    search.choose(result);
}
