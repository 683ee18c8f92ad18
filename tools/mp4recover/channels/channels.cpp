#include "channels/channels.h"

#include "channels/channelsets.h"
#include "channels/linker.h"
#include "channels/numbering.h"
#include "channels/recordedsizes.h"
#include "sets/setschoice.h"

#include <algorithm>
#include <iterator>
#include <map>

namespace {

class ChannelBuilder
{
public:
    ChannelBuilder(Channel &channel, const Numbering &numbering, const std::vector<Span> &losses)
        : m_channel(channel)
        , m_numbering(numbering)
        , m_losses(losses)
    {
    }

    void add(const AccessUnit &found)
    {
        Picture picture;
        picture.firstUnit = found.firstUnit;
        picture.unitCount = found.unitCount;
        picture.isSync = found.slice.isSync;
        picture.isReference = found.slice.isReference;
        picture.isDamaged = found.isDamaged;
        picture.picturesMissingBefore = m_numbering.hasStarted() ? m_numbering.fit(found.slice).ahead : 0;
        picture.followsLoss = passLosses(found.offset) || picture.picturesMissingBefore != 0;
        m_numbering.advance(found.slice);
        picture.restartsNumbers = found.slice.restartsCount;
        picture.number = numberOf(found.slice, m_channel.numberBits);
        m_channel.pictures.push_back(picture);
    }

private:
    bool passLosses(std::uint64_t offset)
    {
        bool isAny = false;
        for (; m_nextLoss < m_losses.size() && m_losses[m_nextLoss].offset < offset; ++m_nextLoss)
            isAny = true;
        return isAny;
    }

    Channel &m_channel;
    Numbering m_numbering;
    const std::vector<Span> &m_losses;
    std::size_t m_nextLoss = 0;
};

std::vector<Channel> buildChannels(VideoCodec codec, const AccessUnits &found, const Links &links,
                                   const std::vector<ChannelRequest> &requests,
                                   const std::vector<Span> &losses)
{
    std::vector<Channel> channels(requests.size());
    const int numberBits = counterBitsOf(codec, found, channels.size());
    const Numbering numbering(codec, numberBits, reorderStepOf(codec, found, numberBits, channels.size()));
    std::vector<ChannelBuilder> builders;
    for (std::size_t i = 0; i < channels.size(); ++i) {
        channels[i].codec = codec;
        channels[i].numberBits = numberBits;
        if (requests[i].framesPerSecond > 0)
            channels[i].request = requests[i];
        builders.emplace_back(channels[i], numbering, losses);
    }
    for (std::size_t i = 0; i < found.pictures.size(); ++i) {
        const std::uint8_t channel = links.channels[i];
        if (channel == noChannel)
            continue;
        builders[channel].add(found.pictures[i]);
        if (found.pictures[i].setsId != 0)
            for (const ParameterSet &set : found.sets[found.pictures[i].setsId - 1U].sets)
                addSet(channels[channel], set);
    }
    return channels;
}

void addSetsOf(const std::vector<IndexTrack> &tracks, std::vector<Channel> &channels)
{
    std::size_t next = 0;
    for (const IndexTrack &track : tracks) {
        if (track.kind != IndexTrack::Kind::Video || next == channels.size())
            continue;
        Channel &channel = channels[next++];
        const bool isOther = channel.request
            && (channel.request->width != track.width || channel.request->height != track.height);
        if (isOther || channel.codec != track.codec)
            continue;
        for (const ParameterSet &set : track.parameterSets)
            addSet(channel, set);
    }
}

/// The tracks on which an index has the pictures. None if more than hardly one stands outside of its samples:
/// then it is another recording's, or an earlier one's.
std::optional<Links> linksOfIndex(const AccessUnits &found, const std::vector<IndexTrack> &tracks,
                                  std::size_t channelCount)
{
    constexpr std::size_t fewOutside = 50; // one in so many
    std::map<std::uint64_t, std::pair<std::uint64_t, std::uint8_t>> samples; // by offset: end, channel
    std::uint8_t channel = 0;
    for (const IndexTrack &track : tracks)
        if (track.kind == IndexTrack::Kind::Video && channel < channelCount) {
            for (const Span &sample : track.samples)
                samples.try_emplace(sample.offset, sample.end(), channel);
            ++channel;
        }
    Links links;
    std::size_t outside = 0;
    for (const AccessUnit &picture : found.pictures) {
        const auto behind = samples.upper_bound(picture.offset);
        const bool isInside = behind != samples.begin() && picture.end <= std::prev(behind)->second.first;
        links.channels.push_back(isInside ? std::prev(behind)->second.second : noChannel);
        outside += isInside ? 0U : 1U;
    }
    if (channel < channelCount || outside * fewOutside > found.pictures.size())
        return std::nullopt;
    return links;
}

constexpr std::size_t fewTies = 24; ///< they may all be decoded

/// Links that need decoding, and how the headers alone would have it.
class Doubts
{
public:
    Doubts(Bytes bytes, VideoCodec codec, const AccessUnits &found,
           const std::vector<ChannelRequest> &requests, Findings &findings, const Budget &budget)
        : m_codec(codec)
        , m_found(found)
        , m_requests(requests)
        , m_findings(findings)
    {
        for (ChosenSets &chosen : setsOfChannels(bytes, findings, requests.size(), budget))
            m_sets.push_back(chosen.isProven ? std::move(chosen.units) : std::vector<ParameterSet>{});
        m_trial.emplace(bytes, codec, found, m_sets, budget);
    }

    Links resolve(Links byHeaders)
    {
        if (byHeaders.ties.empty() || doSizesShowTurns(m_found, byHeaders, m_requests.size()))
            return byHeaders.doubtful > 0 ? link(Asking::BehindLosses) : byHeaders;
        if (byHeaders.ties.size() <= fewTies || byHeaders.outOfTurn * 200 > m_found.pictures.size())
            return link(Asking::All);
        const Links some = link(Asking::Some);
        if (some.contradictions < 2 || some.contradictions * 5 <= some.answers)
            return byHeaders.doubtful > 0 ? link(Asking::BehindLosses) : byHeaders;
        m_findings.remarks.emplace_back(
            "pictures came in changing order; decoding them told the channels apart");
        return link(Asking::All);
    }

    /// Sets that had to be built needn't be searched again.
    void keepSets() const
    {
        for (std::size_t i = 0; i < m_sets.size(); ++i)
            for (const ParameterSet &set : m_sets[i])
                addSet(m_findings.channels[i], set);
    }

private:
    Links link(Asking asking)
    {
        return linkChannels(m_codec, m_found, m_requests, m_findings.losses, asking, &*m_trial);
    }

    VideoCodec m_codec;
    const AccessUnits &m_found;
    const std::vector<ChannelRequest> &m_requests;
    Findings &m_findings;
    std::vector<std::vector<ParameterSet>> m_sets;
    std::optional<CameraTrial> m_trial;
};

} // namespace

void findChannels(Bytes bytes, VideoCodec codec, const AccessUnits &found,
                  const std::vector<ChannelRequest> &asked, const std::vector<IndexTrack> &tracks,
                  Findings &findings, const Budget &budget)
{
    const std::vector<ChannelRequest> requests =
        asked.empty() ? guessChannels(codec, found, findings.losses) : withRecordedSizes(asked, found);
    const auto build = [&](const Links &links) {
        findings.channels = buildChannels(codec, found, links, requests, findings.losses);
        addSetsOf(tracks, findings.channels);
    };
    if (const auto indexed = linksOfIndex(found, tracks, requests.size())) {
        build(*indexed);
        return;
    }
    const Links links = linkChannels(codec, found, requests, findings.losses);
    build(links);
    if (links.ties.empty() && links.doubtful == 0)
        return;
    Doubts doubts(bytes, codec, found, requests, findings, budget);
    build(doubts.resolve(links));
    doubts.keepSets();
}
