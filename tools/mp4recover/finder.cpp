#include "finder.h"

#include "channelsets.h"

#include "common/mappedfile.h"
#include "linker.h"
#include "recordedsizes.h"
#include "remains.h"
#include "setsofchannels.h"
#include "staletail.h"
#include "traits265.h"
#include "trustedindex.h"

#include <algorithm>

namespace {

/// The channels that were asked for, or that the telemetry tells of.
std::vector<ChannelRequest> channelsOf(Bytes bytes, const std::vector<ChannelRequest> &requests,
                                       const Landmarks &landmarks)
{
    if (!requests.empty())
        return requests;
    for (const Block &block : landmarks.blocks) {
        if (block.kind != Block::Kind::Channels)
            continue;
        if (auto channels = channelsOf(bytes, block); !channels.empty())
            return channels;
    }
    return {};
}

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
        picture.followsLoss = picture.picturesMissingBefore != 0 || passLosses(found.offset);
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
    std::vector<Channel> channels(std::min(requests.size(), maximumChannels));
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

std::vector<Unit> withoutLengths(const std::vector<FoundUnit> &found)
{
    std::vector<Unit> units;
    units.reserve(found.size());
    for (const FoundUnit &unit : found)
        units.push_back({unit.offset + 4, unit.size, unit.type});
    return units;
}

/// The sets of an index whose tables are wrong may still be those of the recording.
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

void addSoundHint(const std::vector<IndexTrack> &tracks, Sound &sound)
{
    for (const IndexTrack &track : tracks)
        if (track.kind == IndexTrack::Kind::Sound && track.sound == sound.kind && sound.indexedRateHz == 0)
            sound.indexedRateHz = track.sampleRateHz;
}

/// What each channel can be decoded with; empty where nothing is proven.
std::vector<std::vector<ParameterSet>> setsByChannel(Bytes bytes, const Findings &findings)
{
    std::vector<std::vector<ParameterSet>> sets;
    for (ChosenSets &chosen : setsOfChannels(bytes, findings, findings.channels.size()))
        sets.push_back(chosen.isProven ? std::move(chosen.units) : std::vector<ParameterSet>{});
    return sets;
}

Findings findWithoutIndex(Bytes bytes, Span payload, const Landmarks &landmarks,
                          const std::vector<ChannelRequest> &requests)
{
    Findings findings;
    Remains remains = classifyRemains(bytes, payload, landmarks);
    findings.sound = std::move(remains.sound);
    findings.losses = std::move(remains.losses);
    const AccessUnits found = groupUnits(bytes, landmarks.codec, landmarks.units);
    const std::vector<ChannelRequest> channels = requests.empty()
        ? guessChannels(landmarks.codec, found, findings.losses)
        : withRecordedSizes(requests, found);
    findings.units = withoutLengths(found.units);
    Links links = linkChannels(landmarks.codec, found, channels, findings.losses);
    findings.channels = buildChannels(landmarks.codec, found, links, channels, findings.losses);
    if (landmarks.codec == VideoCodec::H264)
        links.partings.clear(); // its frame numbers repeat too soon: there are too many
    const std::vector<bool> doubtful = doubtfulPictures(found, links, channels, findings.losses);
    if (!doubtful.empty()) {
        const auto sets = setsByChannel(bytes, findings);
        const std::vector<PictureTraits> traits = landmarks.codec == VideoCodec::H264
            ? traitsOf(bytes, found, links.channels, doubtful, sets)
            : traitsOfH265(bytes, found, links.channels, doubtful, sets);
        links = linkChannels(landmarks.codec, found, channels, findings.losses, traits);
        findings.channels = buildChannels(landmarks.codec, found, links, channels, findings.losses);
        // Those that had to be built needn't be searched again.
        for (std::size_t i = 0; i < sets.size(); ++i) {
            for (const ParameterSet &set : sets[i])
                addSet(findings.channels[i], set);
        }
    }
    return findings;
}

/// Where the pictures' numbers first jump in that part of the file.
std::optional<std::uint64_t> firstJump(const Findings &findings, const Span &part)
{
    std::optional<std::uint64_t> first;
    for (const Channel &channel : findings.channels) {
        for (const Picture &picture : channel.pictures) {
            const std::uint64_t offset = findings.units[picture.firstUnit].offset - 4;
            if (offset >= part.offset && picture.picturesMissingBefore != 0)
                first = std::min(first.value_or(offset), offset);
        }
    }
    return first;
}

/// Where the recording ends, and perhaps an older one's data begins.
std::uint64_t endOf(Bytes bytes, Span payload, const Landmarks &landmarks,
                    const std::vector<ChannelRequest> &channels)
{
    const RecordingEnd end = recordingEnd(bytes, payload, landmarks);
    if (!end.doubtful)
        return end.offset;
    Landmarks part = landmarks;
    cutOff(part, end.doubtful->end());
    payload.size = end.doubtful->end() - payload.offset;
    return firstJump(findWithoutIndex(bytes, payload, part, channels), *end.doubtful).value_or(end.offset);
}

} // namespace

Findings findRecording(const MappedFile &file, const std::vector<ChannelRequest> &requests,
                       const Progress &progress)
{
    const Bytes bytes = file.bytes();
    Span payload{mediaBegin(bytes), 0};
    payload.size = bytes.size() - payload.offset;
    Landmarks landmarks = searchUnits(file, payload.offset, progress);
    const std::vector<Box> front = indexesBefore(bytes, payload.offset);
    std::vector<ChannelRequest> channels = channelsOf(bytes, requests, landmarks);
    channels.resize(std::min(channels.size(), maximumChannels));
    const std::uint64_t end = endOf(bytes, payload, landmarks, channels);
    const bool isTailStale = end != payload.end();
    payload.size = end - payload.offset;
    cutOff(landmarks, end);
    landmarks.indexes.insert(landmarks.indexes.begin(), front.begin(), front.end());
    Findings findings;
    for (const Box &index : landmarks.indexes) {
        const std::vector<IndexTrack> tracks = tracksOf(bytes, index);
        if (!isTailStale && isTrustworthy(bytes, tracks, landmarks)) {
            findings = findingsOf(bytes, tracks, channels);
            break;
        }
    }
    if (!findings.isIndexTrusted) {
        findings = findWithoutIndex(bytes, payload, landmarks, channels);
        for (const Box &index : landmarks.indexes) {
            const std::vector<IndexTrack> tracks = tracksOf(bytes, index);
            addSetsOf(tracks, findings.channels);
            addSoundHint(tracks, findings.sound);
        }
    }
    findings.clock = clockOf(landmarks.blocks);
    return findings;
}
