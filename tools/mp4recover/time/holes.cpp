#include "time/holes.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr double longestHole = 600; // seconds that are searched
constexpr std::int64_t longestJump = 4; // pictures that are left out in a row

// What speaks against a length of a hole, as squared deviations.
constexpr double otherNumber = 9; // of a channel's next picture
constexpr double otherGroup = 9; // its next key picture would come at another time
constexpr double clockUncertainty = 0.15; // seconds
constexpr double bytesUncertainty = 0.35; // of what they usually take
constexpr double leastUncertainty = 0.12; // seconds

/// A channel around a hole.
struct Side {
    double rate = 30;
    std::int64_t groupLength = 0; ///< 0: not known
    std::int64_t before =
        0; ///< the place in its group of the last picture before the hole; the key picture's is 0
    std::int64_t untilKey = 0; ///< pictures behind the hole up to the next key picture; -1: not known
    std::int64_t modulus = 0; ///< of the numbers; 0 where these don't count all pictures
    std::int64_t number = 0; ///< of the first picture behind
    std::int64_t step = 0; ///< from the number before to that behind
};

class Counting
{
public:
    Counting(const Findings &findings, const std::vector<Hole> &holes, const std::vector<ClockMark> &clock,
             const std::vector<double> &rates)
        : m_findings(findings)
        , m_clock(clock)
        , m_rates(rates)
        , m_counts(findings.channels.size())
        , m_next(findings.channels.size(), 0)
    {
        for (const Channel &channel : findings.channels) {
            m_groups.push_back(groupLengthOf(channel));
            const auto jumps =
                std::count_if(channel.pictures.begin(), channel.pictures.end(),
                              [](const Picture &picture) { return picture.picturesMissingBefore > 0; });
            m_doJumpsCount.push_back(static_cast<std::size_t>(jumps) * 50 <= channel.pictures.size());
            m_isCounted.push_back(channel.numberBits > 0
                                  && std::all_of(channel.pictures.begin(), channel.pictures.end(),
                                                 [](const Picture &picture) { return picture.isReference; }));
        }
        measureBytes(holes);
        for (const Hole &hole : holes)
            pass(hole);
        for (std::size_t i = 0; i < m_counts.size(); ++i)
            countUntil(i, std::numeric_limits<std::uint64_t>::max());
    }

    std::vector<std::vector<std::int64_t>> take() { return std::move(m_counts); }

private:
    [[nodiscard]] std::uint64_t offsetOf(const Picture &picture) const
    {
        return m_findings.units[picture.firstUnit].offset;
    }

    /// From key picture to key picture, most often.
    static std::int64_t groupLengthOf(const Channel &channel)
    {
        std::vector<std::int64_t> lengths;
        std::int64_t length = 0;
        bool isWhole = false;
        for (const Picture &picture : channel.pictures) {
            if (picture.isSync) {
                if (isWhole && !picture.followsLoss)
                    lengths.push_back(length);
                length = 0;
            }
            isWhole = picture.isSync || (isWhole && !picture.followsLoss);
            ++length;
        }
        if (lengths.empty())
            return 0;
        const auto middle = lengths.begin() + static_cast<std::ptrdiff_t>(lengths.size() / 2);
        std::nth_element(lengths.begin(), middle, lengths.end());
        const auto equal = std::count(lengths.begin(), lengths.end(), *middle);
        return static_cast<std::size_t>(equal) * 3 >= lengths.size() * 2 ? *middle : 0;
    }

    void measureBytes(const std::vector<Hole> &holes)
    {
        double bytes = 0;
        for (std::size_t i = 0; i < m_findings.channels.size(); ++i) {
            const auto &pictures = m_findings.channels[i].pictures;
            if (double(pictures.size()) / m_rates[i] <= m_seconds)
                continue;
            m_seconds = double(pictures.size()) / m_rates[i];
            bytes = double(offsetOf(pictures.back()) - offsetOf(pictures.front()));
        }
        for (const Hole &hole : holes)
            bytes -= double(hole.lost);
        m_secondsPerByte = bytes > 0 ? m_seconds / bytes : 0;
    }

    /// Counts on up to there; a number that jumps by itself is a picture that was never written, or is left
    /// out.
    void countUntil(std::size_t index, std::uint64_t offset)
    {
        const Channel &channel = m_findings.channels[index];
        auto &counts = m_counts[index];
        for (std::size_t &next = m_next[index];
             next < channel.pictures.size() && offsetOf(channel.pictures[next]) < offset; ++next) {
            const std::int64_t missing = counts.size() == next && next > 0
                ? std::min<std::int64_t>(channel.pictures[next].picturesMissingBefore,
                                         m_rates.size() > 1 ? 15 : 4)
                : 0;
            counts.push_back(counts.empty() ? 0 : counts.back() + 1 + missing);
        }
    }

    [[nodiscard]] Side sideOf(std::size_t index) const
    {
        const Channel &channel = m_findings.channels[index];
        const std::size_t next = m_next[index];
        Side side;
        side.rate = m_rates[index];
        side.groupLength = m_groups[index];
        std::size_t back = next - 1;
        while (back > 0 && !channel.pictures[back].isSync)
            --back;
        side.before = channel.pictures[back].isSync ? m_counts[index][next - 1] - m_counts[index][back] : 0;
        if (!channel.pictures[back].isSync)
            side.groupLength = 0;
        std::size_t key = next;
        while (key < channel.pictures.size() && !channel.pictures[key].isSync
               && (key == next || !channel.pictures[key].followsLoss))
            ++key;
        const bool isReached = key < channel.pictures.size() && channel.pictures[key].isSync
            && (key == next || !channel.pictures[key].followsLoss);
        side.untilKey = isReached ? static_cast<std::int64_t>(key - next) : -1;
        if (m_isCounted[index]) {
            side.modulus = std::int64_t{1} << channel.numberBits;
            side.number = channel.pictures[next].number;
            side.step =
                (side.number - std::int64_t{channel.pictures[next - 1].number} - 1) & (side.modulus - 1);
        }
        return side;
    }

    /// What speaks against so many missing pictures.
    static double against(const Side &side, std::int64_t missing)
    {
        double cost = 0;
        if (side.groupLength > 0) {
            const std::int64_t place = (side.before + 1 + missing) % side.groupLength;
            if (side.untilKey >= 0 && (place + side.untilKey) % side.groupLength != 0)
                cost += otherGroup;
            if (side.modulus > 0 && place % side.modulus != side.number)
                cost += otherNumber;
        } else if (side.modulus > 0 && missing % side.modulus != side.step) {
            cost += otherNumber;
        }
        return cost;
    }

    /// The number of missing pictures that fits best in that time.
    static std::pair<double, std::int64_t> bestMissing(const Side &side, double seconds)
    {
        const auto near = static_cast<std::int64_t>(std::llround(seconds * side.rate));
        std::pair<double, std::int64_t> best{std::numeric_limits<double>::max(), 0};
        for (const std::int64_t missing : {near, near - 1, near + 1}) {
            if (missing < 0)
                continue;
            const double off = double(missing - near);
            const double cost = against(side, missing) + off * off;
            if (cost < best.first)
                best = {cost, missing};
        }
        return best;
    }

    void pass(const Hole &hole)
    {
        for (std::size_t i = 0; i < m_counts.size(); ++i)
            countUntil(i, hole.span.offset);
        std::vector<std::size_t> around;
        std::vector<Side> sides;
        double fastest = 1;
        for (std::size_t i = 0; i < m_counts.size(); ++i) {
            if (m_next[i] == 0 || m_next[i] >= m_findings.channels[i].pictures.size())
                continue;
            around.push_back(i);
            sides.push_back(sideOf(i));
            fastest = std::max(fastest, m_rates[i]);
        }
        if (around.empty())
            return;
        const double byBytes = double(hole.lost) * m_secondsPerByte;
        const double byClock = clockAround(hole, around.front());
        const double longest = std::min(longestHole, std::max(4 * byBytes + 1, byClock + 1));
        double least = std::numeric_limits<double>::max();
        double best = 0;
        for (double seconds = 0; seconds <= longest; seconds += 1 / fastest) {
            const double offBytes = (seconds - byBytes) / (leastUncertainty + bytesUncertainty * byBytes);
            const double offClock = byClock >= 0 ? (seconds - byClock) / clockUncertainty : 0;
            double cost = offBytes * offBytes * (byClock >= 0 ? 0.25 : 1) + offClock * offClock;
            for (const Side &side : sides)
                cost += bestMissing(side, seconds).first;
            if (cost < least) {
                least = cost;
                best = seconds;
            }
        }
        for (std::size_t i = 0; i < around.size(); ++i) {
            auto &counts = m_counts[around[i]];
            counts.push_back(counts.back() + 1 + bestMissing(sides[i], best).second);
            ++m_next[around[i]];
        }
    }

    /// The time that the clock says was lost between the changes of second around the hole; below 0 if it
    /// doesn't.
    [[nodiscard]] double clockAround(const Hole &hole, std::size_t index) const
    {
        const auto isBefore = [](const ClockMark &mark, std::uint64_t at) { return mark.offset < at; };
        const auto behind = std::lower_bound(m_clock.begin(), m_clock.end(), hole.span.offset, isBefore);
        if (behind == m_clock.begin() || behind == m_clock.end())
            return -1;
        const auto &pictures = m_findings.channels[index].pictures;
        std::int64_t frames = 0;
        const auto first = std::lower_bound(
            pictures.begin(), pictures.end(), (behind - 1)->offset,
            [this](const Picture &picture, std::uint64_t at) { return offsetOf(picture) < at; });
        for (auto i = static_cast<std::size_t>(first - pictures.begin());
             i < pictures.size() && offsetOf(pictures[i]) < behind->offset; ++i) {
            // Other holes in that stretch make it useless.
            if (i > m_next[index] && pictures[i].followsLoss)
                return -1;
            ++frames;
            if (i > 0 && i < m_next[index])
                frames += m_counts[index][i] - m_counts[index][i - 1] - 1;
        }
        return std::max(0.0, behind->seconds - (behind - 1)->seconds - double(frames) / m_rates[index]);
    }

    const Findings &m_findings;
    const std::vector<ClockMark> &m_clock;
    const std::vector<double> &m_rates;
    std::vector<std::vector<std::int64_t>> m_counts;
    std::vector<std::size_t> m_next; ///< the first picture that isn't counted
    std::vector<std::int64_t> m_groups;
    std::vector<bool> m_doJumpsCount; ///< where they are many the channel got others' pictures
    std::vector<bool> m_isCounted; ///< the numbers count all pictures
    double m_seconds = 0;
    double m_secondsPerByte = 0;
};

} // namespace

std::vector<Hole> holesOf(const Findings &findings)
{
    std::vector<std::uint64_t> pictures;
    for (const Channel &channel : findings.channels)
        for (const Picture &picture : channel.pictures)
            pictures.push_back(findings.units[picture.firstUnit].offset);
    std::sort(pictures.begin(), pictures.end());
    std::vector<Hole> holes;
    for (const Span &loss : findings.losses) {
        const auto next = holes.empty()
            ? pictures.begin()
            : std::lower_bound(pictures.begin(), pictures.end(), holes.back().span.end());
        if (holes.empty() || (next != pictures.end() && *next < loss.offset)) {
            holes.push_back({loss, loss.size});
            continue;
        }
        holes.back().span.size = loss.end() - holes.back().span.offset;
        holes.back().lost += loss.size;
    }
    return holes;
}

std::vector<std::vector<std::int64_t>> countFrames(const Findings &findings, const std::vector<Hole> &holes,
                                                   const std::vector<ClockMark> &clock,
                                                   const std::vector<double> &rates)
{
    return Counting(findings, holes, clock, rates).take();
}
