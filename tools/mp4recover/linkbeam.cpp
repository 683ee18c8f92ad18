#include "linkbeam.h"

#include "linkcosts.h"

#include <algorithm>

namespace {

constexpr std::size_t beamWidth = 48;
constexpr std::size_t beamWidthAtLoss = 200; // it takes some pictures to tell how many are lost
constexpr double unusualRun = 0.5; // what it costs to suppose that one was a picture longer or shorter
constexpr double worthFollowing = 25; // as much dearer than the cheapest
constexpr double mostLostPictures = 60;
constexpr std::size_t mostRivals = 32;
constexpr double hardlyWorse = 15;
constexpr std::uint64_t damageReach = 64U << 10U; // bytes behind a loss in which numbers may jump

/// A way to continue one of the states.
struct Step {
    double cost = 0;
    std::uint16_t state = 0;
    std::uint8_t channel = 0;
};

/// What led to a state.
struct Choice {
    std::uint16_t origin = 0; ///< the state before
    std::uint8_t channel = 0; ///< of the picture
};

class Beam
{
public:
    Beam(const LinkInput &input, const Habits &habits, const Hypothesis &hypothesis)
        : m_found(input.found)
        , m_losses(input.losses)
        , m_costs(input, habits, hypothesis)
        , m_order(hypothesis.order)
        , m_count(input.channels.size())
        , m_states{m_costs.first()}
    {
        if (!m_found.pictures.empty())
            m_usualSize = static_cast<double>(m_found.pictures.back().end - m_found.pictures.front().offset)
                / static_cast<double>(m_found.pictures.size());
    }

    /// Assigns the first `count` pictures.
    Links run(std::size_t count)
    {
        m_layers.resize(count);
        for (std::uint32_t i = 0; i < count; ++i)
            take(i);
        return result();
    }

private:
    void take(std::uint32_t index)
    {
        const AccessUnit &picture = m_found.pictures[index];
        const std::uint64_t lost = passLosses(picture);
        if (lost != 0 && m_order != Order::Runs)
            fillLoss(lost, index);
        const Place place{m_lastLossEnd != 0 && picture.offset < m_lastLossEnd + damageReach,
                          picture.offset != m_lastEnd, index < m_orderedFrom};
        m_steps.clear();
        const auto stateCount = static_cast<std::uint16_t>(m_states.size());
        const auto channelCount = static_cast<std::uint8_t>(m_count);
        for (std::uint16_t i = 0; i < stateCount; ++i) {
            const LinkState &state = m_states[i];
            for (std::uint8_t channel = 0; channel < channelCount; ++channel)
                m_steps.push_back({state.cost + m_costs.of(state, channel, index, place), i, channel});
            m_steps.push_back({state.cost + LinkCosts::ofNoise(picture), i, noChannel});
        }
        std::sort(m_steps.begin(), m_steps.end(),
                  [](const Step &a, const Step &b) { return a.cost < b.cost; });
        follow(index, index < m_wideUntil ? beamWidthAtLoss : beamWidth);
        m_lastEnd = picture.end;
    }

    /// Makes the cheapest steps the states. Of those that differ no more in what can follow one is enough.
    void follow(std::uint32_t index, std::size_t width)
    {
        m_layers[index] = m_choices.size();
        m_next.clear();
        for (const Step &step : m_steps) {
            if (m_next.size() == width || step.cost > m_steps.front().cost + worthFollowing)
                break;
            LinkState &next = m_next.emplace_back(m_states[step.state]);
            if (step.channel != noChannel)
                m_costs.serve(next, step.channel, index);
            if (isKnown(next)) {
                m_next.pop_back();
                continue;
            }
            m_choices.push_back({next.origin, step.channel});
            next.cost = step.cost;
            next.origin = static_cast<std::uint16_t>(m_next.size() - 1);
        }
        m_states.swap(m_next);
    }

    /// Whether the newest of the next states is as good as one before it.
    [[nodiscard]] bool isKnown(const LinkState &state) const
    {
        return std::any_of(m_next.begin(), m_next.end() - 1, [&](const LinkState &other) {
            for (std::size_t i = 0; i < m_count; ++i) {
                const LinkedChannel &a = state.channels[i];
                const LinkedChannel &b = other.channels[i];
                if (a.served != b.served || !a.numbering.isAt(b.numbering) || a.leftInRun != b.leftInRun)
                    return false;
            }
            return state.last == other.last;
        });
    }

    /// Each state with 0, 1, 2 ... pictures lost, whose turn it was; about as many as there is room for.
    void fillLoss(std::uint64_t lost, std::uint32_t index)
    {
        const double expected = std::min(mostLostPictures / 2, static_cast<double>(lost) / m_usualSize);
        const double spread = 1 + 0.3 * expected;
        const auto most = static_cast<int>(expected + 2 * spread);
        m_next.clear();
        for (const LinkState &state : m_states) {
            std::vector<LinkState> variants{state};
            for (int count = 0; count <= most; ++count) {
                const double off = (count - expected) / spread;
                for (const LinkState &variant : variants)
                    m_next.emplace_back(variant).cost += 0.5 * off * off;
                skipTurns(variants, index);
            }
        }
        const std::size_t kept = std::min(beamWidthAtLoss, m_next.size());
        std::partial_sort(m_next.begin(), m_next.begin() + static_cast<std::ptrdiff_t>(kept), m_next.end(),
                          [](const LinkState &a, const LinkState &b) { return a.cost < b.cost; });
        m_next.resize(kept);
        m_states.swap(m_next);
        m_orderedFrom = index + static_cast<std::uint32_t>(m_count);
        m_wideUntil = index + 4 * static_cast<std::uint32_t>(m_count);
    }

    /// Another picture is lost in each of the variants; where a run may be over there are two ways.
    void skipTurns(std::vector<LinkState> &variants, std::uint32_t index) const
    {
        constexpr std::size_t mostVariants = 8;
        constexpr double surely = 1; // pictures
        for (std::size_t i = variants.size(); i-- > 0;) {
            if (m_costs.mayRunEnd(variants[i]) && variants.size() < mostVariants) {
                const bool isOver = variants[i].channels[variants[i].last].leftInRun <= 0;
                LinkState &other = variants.emplace_back(variants[i]);
                other.cost += unusualRun;
                m_costs.skipTurn(other, index, isOver ? -surely : surely);
            }
            m_costs.skipTurn(variants[i], index);
        }
    }

    /// How many bytes are lost directly before the picture.
    std::uint64_t passLosses(const AccessUnit &picture)
    {
        std::uint64_t lost = 0;
        for (; m_nextLoss < m_losses.size() && m_losses[m_nextLoss].offset < picture.offset; ++m_nextLoss) {
            lost += m_losses[m_nextLoss].size;
            m_lastLossEnd = m_losses[m_nextLoss].end();
        }
        return lost;
    }

    [[nodiscard]] Links result() const
    {
        Links links;
        links.channels = pathTo(0);
        links.cost = m_states.front().cost;
        for (std::size_t i = 1; i < std::min(m_states.size(), mostRivals); ++i) {
            if (m_states[i].cost < links.cost + hardlyWorse)
                addPartings(links.channels, pathTo(i), links.partings);
        }
        std::sort(links.partings.begin(), links.partings.end());
        links.partings.erase(std::unique(links.partings.begin(), links.partings.end()), links.partings.end());
        return links;
    }

    /// The channels of the pictures up to the last one by that state.
    [[nodiscard]] std::vector<std::uint8_t> pathTo(std::size_t state) const
    {
        std::vector<std::uint8_t> channels(m_layers.size());
        for (std::size_t i = m_layers.size(); i-- > 0;) {
            const Choice &choice = m_choices[m_layers[i] + state];
            channels[i] = choice.channel;
            state = choice.origin;
        }
        return channels;
    }

    /// Where the one begins to differ from the other, after it agreed for some turns.
    void addPartings(const std::vector<std::uint8_t> &path, const std::vector<std::uint8_t> &rival,
                     std::vector<std::uint32_t> &partings) const
    {
        std::size_t alike = 2 * m_count;
        for (std::uint32_t i = 0; i < path.size(); ++i) {
            if (path[i] == rival[i]) {
                ++alike;
                continue;
            }
            if (alike >= 2 * m_count)
                partings.push_back(i);
            alike = 0;
        }
    }

    const AccessUnits &m_found;
    const std::vector<Span> &m_losses;
    LinkCosts m_costs;
    Order m_order;
    std::size_t m_count;
    std::size_t m_nextLoss = 0;
    std::uint64_t m_lastLossEnd = 0;
    std::uint64_t m_lastEnd = 0;
    std::vector<LinkState> m_states;
    std::vector<LinkState> m_next;
    std::vector<Step> m_steps;
    double m_usualSize = 1; ///< bytes from picture to picture
    std::uint32_t m_orderedFrom = 0; ///< a picture's index
    std::uint32_t m_wideUntil = 0; ///< the same
    std::vector<Choice> m_choices; ///< of all states that were kept
    std::vector<std::size_t> m_layers; ///< where those of each picture begin
};

} // namespace

Links followPictures(const LinkInput &input, const Habits &habits, const Hypothesis &hypothesis,
                     std::size_t count)
{
    return Beam(input, habits, hypothesis).run(count);
}
