#include "linkbeam.h"

#include <algorithm>
#include <limits>

namespace {

constexpr std::size_t beamWidth = 8;
constexpr std::size_t beamWidthAtLoss = 64; // it takes some pictures to tell how many are lost
constexpr double mostLostPictures = 60;
constexpr std::uint64_t damageReach = 64U << 10U; // bytes behind a loss in which numbers may jump

// What it costs to give a picture to a channel that it fits badly. About natural logarithms of probabilities.
namespace cost {
constexpr double otherSize = 1000;
constexpr double otherPictureSet = 40;
constexpr double otherSets = 20;
constexpr double otherSliceCount = 3;
constexpr double begunInGroup = 30; // the first picture of a channel depends on others
constexpr double begunBehindLoss = 12; // which are lost
constexpr double jump = 4;
constexpr double repeated = 12;
constexpr double mostJump = 16;
constexpr double offGroupPerPicture = 2;
constexpr double mostOffGroup = 12;
constexpr double mostOffUnsureGroup = 2;
constexpr double beyondGroup = 4;
constexpr double lateBegin = 0.2; // per picture of the others
constexpr double mostLateBegin = 8;
constexpr double mostSize = 5;
constexpr double misfit = 15;
constexpr double unlike = 3;
constexpr double mostUnlike = 8;
constexpr double acrossRuns = 0.2; // much may change between two runs of a channel
constexpr double noise = 12;
constexpr double supportedNoise = 30;
constexpr double leaveRun = 1.5;
constexpr double leaveRunAtGap = 0.7;
constexpr double stayAtGap = 0.5;
constexpr double lagPerPicture = 0.01;
constexpr double mostLag = 1;
constexpr double offRunPerPicture = 0.6;
constexpr double mostOffRun = 6;
} // namespace cost

struct LinkedChannel {
    Numbering numbering;
    std::uint32_t served = 0; ///< 1 + index of its last picture; 0: none yet
    std::uint16_t inGroup = 0; ///< pictures since the last key picture, itself included
    std::uint16_t groupLength = 0;
    std::uint16_t setsId = 0;
    std::uint16_t sliceCount = 0;
    std::uint8_t groupsOfThatLength = 0;
    std::uint8_t pictureSetId = 0;
    float seconds = 0; ///< of pictures so far
    std::array<SizeModel, 3> sizes; ///< of key, reference and other pictures
    std::array<std::uint32_t, 3> lastOfClass{}; ///< 1 + index of its last picture of each kind; 0: none yet
};

struct State {
    std::array<LinkedChannel, maximumChannels> channels;
    double cost = 0;
    std::uint8_t last = noChannel; ///< the channel of the picture before
    std::uint32_t run = 0; ///< pictures since the channel changed
    std::uint8_t origin = 0; ///< its place among those kept after the picture before
};

/// A way to continue one of the states.
struct Step {
    double cost = 0;
    std::uint8_t state = 0;
    std::uint8_t channel = 0;
};

/// What led to a state.
struct Choice {
    std::uint8_t origin = 0; ///< the state before
    std::uint8_t channel = 0; ///< of the picture
};

class Beam
{
public:
    Beam(const LinkInput &input, const Habits &habits, const Hypothesis &hypothesis)
        : m_found(input.found)
        , m_requests(input.channels)
        , m_losses(input.losses)
        , m_traits(input.traits)
        , m_habits(habits)
        , m_order(hypothesis.order)
        , m_runLengths(hypothesis.runLengths)
        , m_count(input.channels.size())
    {
        const int bits = counterBitsOf(input.codec, m_found, m_count);
        const Numbering numbering(input.codec, bits, isReordered(m_found));
        State first;
        for (LinkedChannel &channel : first.channels)
            channel.numbering = numbering;
        m_states.push_back(first);
        if (!m_found.pictures.empty())
            m_usualSize = static_cast<double>(m_found.pictures.back().end - m_found.pictures.front().offset)
                / static_cast<double>(m_found.pictures.size());
        for (std::size_t i = 1; i < m_count; ++i)
            m_haveEqualRates &= habits.rates[i] == habits.rates[0];
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
        const bool isDamageNear = m_lastLossEnd != 0 && picture.offset < m_lastLossEnd + damageReach;
        m_steps.clear();
        for (std::uint8_t i = 0; i < m_states.size(); ++i) {
            for (std::uint8_t channel = 0; channel < m_count; ++channel)
                m_steps.push_back(stepTo(i, channel, index, isDamageNear));
            const double noise = picture.isSupported ? cost::supportedNoise : cost::noise;
            m_steps.push_back({m_states[i].cost + noise, i, noChannel});
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
            if (m_next.size() == width)
                break;
            State &next = m_next.emplace_back(m_states[step.state]);
            if (step.channel != noChannel)
                serve(next, step.channel, index);
            if (isKnown(next)) {
                m_next.pop_back();
                continue;
            }
            m_choices.push_back({next.origin, step.channel});
            next.cost = step.cost;
            next.origin = static_cast<std::uint8_t>(m_next.size() - 1);
        }
        m_states.swap(m_next);
    }

    /// Whether the newest of the next states is as good as one before it.
    [[nodiscard]] bool isKnown(const State &state) const
    {
        return std::any_of(m_next.begin(), m_next.end() - 1, [&](const State &other) {
            for (std::size_t i = 0; i < m_count; ++i) {
                const LinkedChannel &a = state.channels[i];
                const LinkedChannel &b = other.channels[i];
                if (a.served != b.served || !a.numbering.isAt(b.numbering))
                    return false;
            }
            return state.last == other.last && state.run == other.run;
        });
    }

    /// Each state with 0, 1, 2 ... pictures lost, whose turn it was; about as many as there is room for.
    void fillLoss(std::uint64_t lost, std::uint32_t index)
    {
        const double expected = std::min(mostLostPictures / 2, static_cast<double>(lost) / m_usualSize);
        const double spread = 1 + 0.3 * expected;
        const auto most = static_cast<int>(expected + 2 * spread);
        m_next.clear();
        for (State &state : m_states) {
            const double before = state.cost;
            for (int count = 0; count <= most; ++count) {
                const double off = (count - expected) / spread;
                state.cost = before + 0.5 * off * off;
                m_next.push_back(state);
                skipTurn(state, index);
            }
        }
        const std::size_t kept = std::min(beamWidthAtLoss, m_next.size());
        std::partial_sort(m_next.begin(), m_next.begin() + static_cast<std::ptrdiff_t>(kept), m_next.end(),
                          [](const State &a, const State &b) { return a.cost < b.cost; });
        m_next.resize(kept);
        m_states.swap(m_next);
        m_wideUntil = index + 4 * static_cast<std::uint32_t>(m_count);
    }

    /// Whose turn it is.
    [[nodiscard]] std::uint8_t nextInTurn(const State &state) const
    {
        const bool isInRun = m_order == Order::EqualRuns && state.last != noChannel;
        if (isInRun && state.run < m_runLengths[state.last])
            return state.last;
        std::uint8_t next = 0;
        double least = std::numeric_limits<double>::max();
        for (std::uint8_t i = 0; i < m_count; ++i) {
            const double earlier = countEarlier(state, i);
            if (earlier < least && !(isInRun && m_count > 1 && i == state.last)) {
                least = earlier;
                next = i;
            }
        }
        return next;
    }

    /// The channel whose turn it is has lost a picture.
    void skipTurn(State &state, std::uint32_t index) const
    {
        const std::uint8_t next = nextInTurn(state);
        LinkedChannel &channel = state.channels[next];
        state.run = state.last == next ? state.run + 1 : 1;
        state.last = next;
        channel.served = index;
        channel.seconds += static_cast<float>(1 / rateOf(next));
        if (!channel.numbering.hasStarted())
            return;
        const bool isSync = channel.groupsOfThatLength > 0 && channel.inGroup >= channel.groupLength;
        channel.numbering.skip(isSync);
        channel.inGroup = static_cast<std::uint16_t>(isSync ? 1 : channel.inGroup + 1);
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

    [[nodiscard]] Step stepTo(std::uint8_t stateIndex, std::uint8_t channelIndex, std::uint32_t index,
                              bool isDamageNear) const
    {
        const State &state = m_states[stateIndex];
        const AccessUnit &picture = m_found.pictures[index];
        double faults = headerFaults(state.channels[channelIndex], picture);
        if (isDamageNear)
            faults /= 2;
        faults += identityFaults(state, channelIndex, picture, index, isDamageNear);
        return {state.cost + faults + sizeCost(state.channels[channelIndex], picture)
                    + traitsCost(state.channels[channelIndex], channelIndex, index)
                    + orderCost(state, channelIndex, picture, isDamageNear),
                stateIndex, channelIndex};
    }

    /// Does the picture's number and kind follow the channel's last picture?
    [[nodiscard]] static double headerFaults(const LinkedChannel &channel, const AccessUnit &picture)
    {
        if (!channel.numbering.hasStarted())
            return 0;
        const int overdue = channel.inGroup - channel.groupLength;
        const bool isSure = channel.groupsOfThatLength > 0;
        if (picture.slice.isSync) {
            const double off = cost::offGroupPerPicture * std::abs(overdue);
            return channel.groupLength == 0
                ? 0
                : std::min(off, isSure ? cost::mostOffGroup : cost::mostOffUnsureGroup);
        }
        const Numbering::Fit fit = channel.numbering.fit(picture.slice);
        double faults = fit.isRepeated ? cost::repeated : 0;
        if (fit.ahead != 0)
            faults += cost::jump + std::min<double>(fit.ahead, cost::mostJump);
        if (isSure && overdue >= 0)
            faults += cost::beyondGroup;
        return faults;
    }

    /// Is it a picture of this channel at all?
    [[nodiscard]] double identityFaults(const State &state, std::uint8_t index, const AccessUnit &picture,
                                        std::uint32_t pictureIndex, bool isDamageNear) const
    {
        const LinkedChannel &channel = state.channels[index];
        double faults = 0;
        if (picture.setsId != 0) {
            const SetGroup &sets = m_found.sets[picture.setsId - 1U];
            const ChannelRequest &request = m_requests[index];
            if (sets.width != 0 && request.width != 0
                && (sets.width != request.width || sets.height != request.height))
                faults += cost::otherSize;
            if (channel.setsId != 0 && channel.setsId != picture.setsId)
                faults += cost::otherSets;
        }
        if (!channel.numbering.hasStarted()) {
            if (!picture.slice.isSync)
                faults += isDamageNear ? cost::begunBehindLoss : cost::begunInGroup;
            const double others = static_cast<double>(pictureIndex) / static_cast<double>(m_count);
            return faults + std::min(cost::mostLateBegin, cost::lateBegin * others);
        }
        if (channel.pictureSetId != picture.slice.pictureSetId)
            faults += cost::otherPictureSet;
        if (channel.sliceCount != picture.sliceCount && !picture.isDamaged)
            faults += cost::otherSliceCount;
        return faults;
    }

    /// Is it as large as the channel's pictures of its kind?
    [[nodiscard]] double sizeCost(const LinkedChannel &channel, const AccessUnit &picture) const
    {
        const std::size_t kind = sizeClass(picture);
        const SizeModel &model = channel.sizes[kind];
        return picture.isDamaged
            ? 0
            : std::min(cost::mostSize, model.surprise(logSize(picture), m_habits.sizeVariances[kind]));
    }

    /// Does it look like the channel's last picture of its kind?
    [[nodiscard]] double traitsCost(const LinkedChannel &channel, std::uint8_t channelIndex,
                                    std::uint32_t index) const
    {
        if (m_traits.empty())
            return 0;
        const PictureTraits &own = m_traits[index];
        const bool isMisfit = ((own.misfits >> channelIndex) & 1U) != 0 && own.isKnown;
        double result = isMisfit ? cost::misfit : 0;
        const std::size_t kind = sizeClass(m_found.pictures[index]);
        const double usual = m_habits.usualDistances[kind];
        const std::uint32_t last = channel.lastOfClass[kind];
        if (usual > 0 && last > 0 && own.isKnown && m_traits[last - 1].isKnown)
            result +=
                std::min(cost::mostUnlike, cost::unlike * (distance(own, m_traits[last - 1]) / usual - 1))
                * (m_order == Order::Turns ? 1 : cost::acrossRuns);
        return result;
    }

    /// Is it the channel's turn?
    [[nodiscard]] double orderCost(const State &state, std::uint8_t index, const AccessUnit &picture,
                                   bool isDamageNear) const
    {
        const double earlier = countEarlier(state, index);
        if (m_order == Order::Turns)
            return earlier * (isDamageNear ? std::min(1.0, m_habits.turnCost) : m_habits.turnCost);
        const bool isStay = state.last == index;
        const bool isGap = picture.offset != m_lastEnd;
        double lag = 0;
        for (std::size_t i = 0; i < m_count; ++i) {
            const double ahead = (state.channels[index].seconds - state.channels[i].seconds) * rateOf(index);
            lag = std::max(lag, std::min(cost::mostLag, cost::lagPerPicture * ahead));
        }
        const double turn = isStay ? 0 : m_habits.turnCost * earlier;
        if (m_order == Order::Runs)
            return lag + turn
                + (isStay ? (isGap ? cost::stayAtGap : 0) : (isGap ? cost::leaveRunAtGap : cost::leaveRun));
        return lag + turn + runCost(state, isStay);
    }

    [[nodiscard]] double runCost(const State &state, bool isStay) const
    {
        if (state.last == noChannel)
            return 0;
        const double missing = static_cast<double>(m_runLengths[state.last]) - state.run;
        const double off = isStay ? 1 - missing : missing;
        return off <= 0 ? 0 : std::min(cost::mostOffRun, cost::offRunPerPicture * off);
    }

    /// How many other channels should come first.
    [[nodiscard]] double countEarlier(const State &state, std::uint8_t index) const
    {
        double count = 0;
        for (std::size_t i = 0; i < m_count; ++i)
            count += precedence(state, i, index);
        return count;
    }

    /// From 0 to 1: how much sooner the other channel's next picture is due.
    [[nodiscard]] double precedence(const State &state, std::size_t otherIndex, std::size_t index) const
    {
        const LinkedChannel &own = state.channels[index];
        const LinkedChannel &other = state.channels[otherIndex];
        const bool waitsLonger =
            other.served < own.served || (other.served == own.served && otherIndex < index);
        if (m_haveEqualRates || own.served == 0 || other.served == 0)
            return waitsLonger ? 1 : 0;
        constexpr double same = 0.1; // of a period
        constexpr double forSame = 0.2;
        const double rate = std::max(rateOf(index), rateOf(otherIndex));
        const double ahead = (dueOf(own, index) - dueOf(other, otherIndex)) * rate;
        return ahead > same ? std::min(1.0, 0.5 + ahead) : ahead > -same && waitsLonger ? forSame : 0;
    }

    [[nodiscard]] double rateOf(std::size_t index) const { return m_habits.rates[index]; }
    [[nodiscard]] double dueOf(const LinkedChannel &channel, std::size_t index) const
    {
        return channel.seconds + 1 / rateOf(index);
    }

    void serve(State &state, std::uint8_t index, std::uint32_t pictureIndex) const
    {
        LinkedChannel &channel = state.channels[index];
        const AccessUnit &picture = m_found.pictures[pictureIndex];
        const Numbering::Fit fit = channel.numbering.fit(picture.slice);
        const double pictures = 1 + std::min<double>(fit.ahead, cost::mostJump);
        channel.seconds += static_cast<float>(pictures / rateOf(index));
        keepUp(state, channel, index);
        channel.served = pictureIndex + 1;
        if (picture.slice.isSync) {
            if (channel.numbering.hasStarted())
                learnGroup(channel);
            channel.inGroup = 0;
        }
        if (channel.inGroup < std::numeric_limits<std::uint16_t>::max())
            ++channel.inGroup;
        channel.numbering.advance(picture.slice);
        channel.pictureSetId = picture.slice.pictureSetId;
        channel.sliceCount = picture.sliceCount;
        if (!picture.isDamaged)
            channel.sizes[sizeClass(picture)].learn(logSize(picture));
        channel.lastOfClass[sizeClass(picture)] = pictureIndex + 1;
        if (picture.setsId != 0)
            channel.setsId = picture.setsId;
        state.run = state.last == index ? state.run + 1 : 1;
        state.last = index;
    }

    /// A channel that lost pictures isn't owed them.
    void keepUp(const State &state, LinkedChannel &channel, std::uint8_t index) const
    {
        if (m_order != Order::Turns)
            return;
        float ahead = 0;
        for (std::size_t i = 0; i < m_count; ++i)
            ahead = std::max(ahead, state.channels[i].seconds);
        channel.seconds = std::max(channel.seconds, ahead - static_cast<float>(1.5 / rateOf(index)));
    }

    static void learnGroup(LinkedChannel &channel)
    {
        if (channel.inGroup != channel.groupLength) {
            channel.groupLength = channel.inGroup;
            channel.groupsOfThatLength = 0;
        } else if (channel.groupsOfThatLength < 10) {
            ++channel.groupsOfThatLength;
        }
    }

    [[nodiscard]] Links result() const
    {
        Links links;
        links.channels.resize(m_layers.size());
        std::size_t state = 0;
        for (std::size_t i = m_layers.size(); i-- > 0;) {
            const Choice &choice = m_choices[m_layers[i] + state];
            links.channels[i] = choice.channel;
            state = choice.origin;
        }
        links.cost = m_states.front().cost;
        return links;
    }

    const AccessUnits &m_found;
    const std::vector<ChannelRequest> &m_requests;
    const std::vector<Span> &m_losses;
    const std::vector<PictureTraits> &m_traits;
    Habits m_habits;
    Order m_order;
    RunLengths m_runLengths;
    std::size_t m_count;
    bool m_haveEqualRates = true;
    std::size_t m_nextLoss = 0;
    std::uint64_t m_lastLossEnd = 0;
    std::uint64_t m_lastEnd = 0;
    std::vector<State> m_states;
    std::vector<State> m_next;
    std::vector<Step> m_steps;
    double m_usualSize = 1; ///< bytes from picture to picture
    std::uint32_t m_wideUntil = 0; ///< a picture's index
    std::vector<Choice> m_choices; ///< of all states that were kept
    std::vector<std::size_t> m_layers; ///< where those of each picture begin
};

} // namespace

Links followPictures(const LinkInput &input, const Habits &habits, const Hypothesis &hypothesis,
                     std::size_t count)
{
    return Beam(input, habits, hypothesis).run(count);
}
