#include "linkcosts.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace {

namespace cost {
constexpr double otherSize = 1000;
constexpr double otherPictureSet = 40;
constexpr double otherSets = 20;
constexpr double otherSliceCount = 3;
constexpr double begunInGroup = 30; // the first picture of a channel depends on others
constexpr double begunBehindLoss = 12; // which are lost
constexpr double begunBeforeOthers = 8; // cameras write the first one first
constexpr double jump = 4;
constexpr double repeated = 12;
constexpr double mostJump = 16;
constexpr double mostUnexpected = 10;
constexpr double offGroupPerPicture = 2;
constexpr double mostOffGroup = 12;
constexpr double mostOffUnsureGroup = 2;
constexpr double sameKeyId = 6;
constexpr double sameKeyIdInSuccession = 15; // not allowed
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

/// idr_pic_id, which stands behind frame_num in key pictures of H.264, if it is short enough to be seen.
std::optional<std::uint32_t> keyIdOf(const SliceStart &slice, int counterBits)
{
    const std::uint32_t rest = slice.restBits << static_cast<unsigned>(counterBits);
    const int zeros = std::countl_zero(rest);
    if (!slice.isSync || counterBits + 2 * zeros + 1 > 32)
        return std::nullopt;
    return (rest >> (31U - 2U * static_cast<unsigned>(zeros))) - 1;
}

/// Many encoders give all key pictures the same one.
bool doKeyIdsVary(const AccessUnits &found, int counterBits)
{
    std::optional<std::uint32_t> first;
    for (const AccessUnit &picture : found.pictures) {
        const auto id = keyIdOf(picture.slice, counterBits);
        if (id && first && *id != *first)
            return true;
        if (!first)
            first = id;
    }
    return false;
}

/// How many pictures of the channel are missing before that one.
double missingBefore(const LinkedChannel &channel, const AccessUnit &picture)
{
    if (!channel.numbering.hasStarted())
        return 0;
    const double restOfGroup = channel.groupsOfThatLength > 0
        ? std::clamp<double>(channel.groupLength - channel.inGroup, 0, cost::mostJump)
        : 0;
    if (picture.slice.restartsCount)
        return restOfGroup;
    const Numbering::Fit fit = channel.numbering.fit(picture.slice);
    const double missing = fit.ahead + (fit.isBehindRestart ? restOfGroup : 0);
    return fit.isRepeated ? 0 : std::min(missing, cost::mostJump);
}

} // namespace

LinkCosts::LinkCosts(const LinkInput &input, const Habits &habits, const Hypothesis &hypothesis)
    : m_doNumbersTellTime(input.codec == VideoCodec::H265 || habits.ratesDiffer(input.channels.size()))
    , m_found(input.found)
    , m_requests(input.channels)
    , m_traits(input.traits)
    , m_habits(habits)
    , m_order(hypothesis.order)
    , m_runLengths(hypothesis.runLengths)
    , m_count(input.channels.size())
    , m_counterBits(counterBitsOf(input.codec, input.found, m_count))
    , m_numbering(input.codec, m_counterBits, reorderStepOf(input.codec, input.found, m_counterBits, m_count))
    , m_doKeyIdsVary(input.codec == VideoCodec::H264 && ::doKeyIdsVary(input.found, m_counterBits))
{
}

LinkState LinkCosts::first() const
{
    LinkState state;
    for (LinkedChannel &channel : state.channels)
        channel.numbering = m_numbering;
    return state;
}

double LinkCosts::of(const LinkState &state, std::uint8_t channel, std::uint32_t picture,
                     const Place &place) const
{
    const AccessUnit &own = m_found.pictures[picture];
    const LinkedChannel &linked = state.channels[channel];
    return headerFaults(linked, own, place.isDamageNear)
        + identityFaults(state, channel, own, picture, place.isDamageNear) + sizeCost(linked, own)
        + traitsCost(linked, channel, picture) + orderCost(state, channel, own, place);
}

double LinkCosts::ofNoise(const AccessUnit &picture)
{
    return picture.isSupported ? cost::supportedNoise : cost::noise;
}

/// Does the picture's number and kind follow the channel's last picture?
double LinkCosts::headerFaults(const LinkedChannel &channel, const AccessUnit &picture,
                               bool isDamageNear) const
{
    if (!channel.numbering.hasStarted())
        return 0;
    const double trust = isDamageNear ? 0.5 : 1;
    if (picture.slice.isSync)
        return keyFaults(channel, picture) * trust;
    const Numbering::Fit fit = channel.numbering.fit(picture.slice);
    double faults = fit.isRepeated ? cost::repeated : 0;
    if (fit.ahead != 0)
        faults += cost::jump + std::min<double>(fit.ahead, cost::mostJump);
    if (channel.groupsOfThatLength > 0 && channel.inGroup >= channel.groupLength)
        faults += cost::beyondGroup;
    return faults * trust;
}

/// Is it time for a key picture?
double LinkCosts::keyFaults(const LinkedChannel &channel, const AccessUnit &picture) const
{
    double faults = 0;
    if (channel.groupLength != 0) {
        const double off = cost::offGroupPerPicture * std::abs(channel.inGroup - channel.groupLength);
        faults =
            std::min(off, channel.groupsOfThatLength > 0 ? cost::mostOffGroup : cost::mostOffUnsureGroup);
    }
    const auto id = keyIdOf(picture.slice, m_counterBits);
    if (m_doKeyIdsVary && id && channel.keyId == id)
        faults += channel.inGroup == 1 ? cost::sameKeyIdInSuccession : cost::sameKeyId;
    return faults;
}

/// Is it a picture of this channel at all?
double LinkCosts::identityFaults(const LinkState &state, std::uint8_t index, const AccessUnit &picture,
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
        if (!isDamageNear && index > 0 && !state.channels[index - 1U].numbering.hasStarted())
            faults += cost::begunBeforeOthers;
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
double LinkCosts::sizeCost(const LinkedChannel &channel, const AccessUnit &picture) const
{
    const std::size_t kind = sizeClass(picture);
    const SizeModel &model = channel.sizes[kind];
    return picture.isDamaged
        ? 0
        : std::min(cost::mostSize, model.surprise(logSize(picture), m_habits.sizeVariances[kind]));
}

/// Does it look like the channel's last picture of its kind?
double LinkCosts::traitsCost(const LinkedChannel &channel, std::uint8_t channelIndex,
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
        result += std::min(cost::mostUnlike, cost::unlike * (distance(own, m_traits[last - 1]) / usual - 1))
            * (m_order == Order::Turns || m_doNumbersTellTime ? 1 : cost::acrossRuns);
    return result;
}

/// Is it the channel's turn?
double LinkCosts::orderCost(const LinkState &state, std::uint8_t index, const AccessUnit &picture,
                            const Place &place) const
{
    const double earlier = countEarlier(state, index, timeOf(state.channels[index], index, picture));
    const bool isTurnDoubtful = m_doNumbersTellTime ? place.isTurnLost : place.isDamageNear;
    if (m_order == Order::Turns)
        return earlier * (isTurnDoubtful ? std::min(1.0, m_habits.turnCost) : m_habits.turnCost);
    const bool isStay = state.last == index;
    double lag = 0;
    for (std::size_t i = 0; i < m_count; ++i) {
        const double ahead = (state.channels[index].seconds - state.channels[i].seconds) * rateOf(index);
        lag = std::max(lag, std::min(cost::mostLag, cost::lagPerPicture * ahead));
    }
    const double turn = isStay ? 0 : m_habits.turnCost * earlier;
    if (m_order == Order::Runs)
        return lag + turn
            + (isStay ? (place.isGap ? cost::stayAtGap : 0)
                      : (place.isGap ? cost::leaveRunAtGap : cost::leaveRun));
    return lag + turn + runCost(state, isStay);
}

double LinkCosts::runCost(const LinkState &state, bool isStay) const
{
    if (state.last == noChannel)
        return 0;
    const double left = state.channels[state.last].leftInRun;
    const double off = isStay ? 1 - left : left;
    const bool isDue = isStay == (left > 0);
    return isDue ? 0 : std::min(cost::mostOffRun, cost::offRunPerPicture * std::max(off, 0.5));
}

/// How many other channels should come before a picture of that time.
double LinkCosts::countEarlier(const LinkState &state, std::uint8_t index, double time) const
{
    double count = 0;
    for (std::size_t i = 0; i < m_count; ++i)
        count += i == index ? 0 : precedence(state, i, index, time);
    return count;
}

/// From 0 to 1: how much sooner the other channel's next picture is due.
double LinkCosts::precedence(const LinkState &state, std::size_t otherIndex, std::size_t index,
                             double time) const
{
    const LinkedChannel &own = state.channels[index];
    const LinkedChannel &other = state.channels[otherIndex];
    const bool waitsLonger = other.served < own.served || (other.served == own.served && otherIndex < index);
    const bool areEqual = rateOf(index) == rateOf(otherIndex);
    if (m_order != Order::Turns || own.served == 0 || other.served == 0 || (areEqual && !m_doNumbersTellTime))
        return waitsLonger ? 1 : 0;
    const double ahead = (time - dueOf(other, otherIndex)) * std::max(rateOf(index), rateOf(otherIndex));
    if (areEqual)
        return ahead > 0.5 || (ahead > -0.5 && waitsLonger) ? 1 : 0;
    constexpr double same = 0.1; // of a period
    constexpr double forSame = 0.2;
    return ahead > same ? std::min(1.0, 0.5 + ahead) : ahead > -same && waitsLonger ? forSame : 0;
}

double LinkCosts::dueOf(const LinkedChannel &channel, std::size_t index) const
{
    return std::max(channel.seconds, channel.passedUntil) + 1 / rateOf(index);
}

/// When the picture was taken, by its number, if it is of that channel.
double LinkCosts::timeOf(const LinkedChannel &channel, std::size_t index, const AccessUnit &picture) const
{
    return channel.seconds + (1 + missingBefore(channel, picture)) / rateOf(index);
}

/// Whose turn it is.
std::uint8_t LinkCosts::nextInTurn(const LinkState &state, double runEnd) const
{
    const bool isInRun = m_order == Order::EqualRuns && state.last != noChannel;
    if (isInRun && state.channels[state.last].leftInRun > runEnd)
        return state.last;
    std::uint8_t next = 0;
    double least = std::numeric_limits<double>::max();
    for (std::uint8_t i = 0; i < m_count; ++i) {
        const double earlier = countEarlier(state, i, dueOf(state.channels[i], i));
        if (earlier < least && !(isInRun && m_count > 1 && i == state.last)) {
            least = earlier;
            next = i;
        }
    }
    return next;
}

void LinkCosts::skipTurn(LinkState &state, std::uint32_t nextPicture, double runEnd) const
{
    const std::uint8_t next = nextInTurn(state, runEnd);
    passTurn(state, next, nextPicture, 1);
    LinkedChannel &channel = state.channels[next];
    if (!channel.numbering.hasStarted())
        return;
    const bool isSync = channel.groupsOfThatLength > 0 && channel.inGroup >= channel.groupLength;
    channel.numbering.skip(isSync);
    channel.inGroup = static_cast<std::uint16_t>(isSync ? 1 : channel.inGroup + 1);
    if (isSync)
        channel.keyId.reset();
}

bool LinkCosts::mayRunEnd(const LinkState &state) const
{
    constexpr float uncertainty = 0.6F; // pictures
    return m_order == Order::EqualRuns && state.last != noChannel
        && std::abs(state.channels[state.last].leftInRun) < uncertainty;
}

void LinkCosts::passTurn(LinkState &state, std::uint8_t index, std::uint32_t served, double pictures) const
{
    LinkedChannel &channel = state.channels[index];
    if (m_order == Order::EqualRuns && state.last != index) {
        if (state.last != noChannel) {
            float &left = state.channels[state.last].leftInRun;
            left = std::clamp(left, -1.0F, 0.0F);
        }
        channel.leftInRun += m_runLengths[index];
    }
    if (m_order == Order::EqualRuns)
        channel.leftInRun -= static_cast<float>(pictures);
    channel.seconds += pictures / rateOf(index);
    channel.served = served;
    state.last = index;
}

void LinkCosts::serve(LinkState &state, std::uint8_t index, std::uint32_t pictureIndex) const
{
    LinkedChannel &channel = state.channels[index];
    const AccessUnit &picture = m_found.pictures[pictureIndex];
    const bool isFirst = channel.served == 0;
    if (m_order == Order::Turns && m_doNumbersTellTime && !isFirst)
        passOver(state, index, pictureIndex, timeOf(channel, index, picture));
    passTurn(state, index, pictureIndex + 1, 1 + missingBefore(channel, picture));
    if (m_order == Order::Turns && m_doNumbersTellTime && isFirst)
        channel.seconds = beginOf(state, index);
    else if (m_order == Order::Turns && !m_doNumbersTellTime)
        keepUp(state, channel, index);
    if (picture.slice.isSync) {
        if (channel.numbering.hasStarted())
            channel.learnGroup();
        channel.inGroup = 0;
        channel.keyId = keyIdOf(picture.slice, m_counterBits);
    }
    if (const Numbering::Fit fit = channel.numbering.fit(picture.slice); fit.isBehindRestart)
        channel.inGroup = static_cast<std::uint16_t>(std::min(fit.ahead, 0xffffU));
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
}

/// Those that were due before a picture of that time have had their turn.
void LinkCosts::passOver(LinkState &state, std::uint8_t index, std::uint32_t pictureIndex, double time) const
{
    for (std::size_t i = 0; i < m_count; ++i) {
        LinkedChannel &other = state.channels[i];
        if (i == index || other.served == 0 || precedence(state, i, index, time) < 0.5)
            continue;
        const double periods = (time - dueOf(other, i)) * rateOf(i);
        other.passedUntil = dueOf(other, i) + std::max(0.0, std::floor(periods)) / rateOf(i);
        other.served = pictureIndex;
    }
}

/// A channel begins at the time that the others have come to.
double LinkCosts::beginOf(const LinkState &state, std::uint8_t index) const
{
    double now = 1 / rateOf(index);
    for (std::size_t i = 0; i < m_count; ++i)
        now = std::max(now, state.channels[i].seconds);
    return now;
}

/// A channel that lost pictures isn't owed them.
void LinkCosts::keepUp(const LinkState &state, LinkedChannel &channel, std::uint8_t index) const
{
    double ahead = 0;
    for (std::size_t i = 0; i < m_count; ++i)
        ahead = std::max(ahead, state.channels[i].seconds);
    channel.seconds = std::max(channel.seconds, ahead - 1.5 / rateOf(index));
}
