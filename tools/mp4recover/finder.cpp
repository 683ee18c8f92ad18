#include "finder.h"

#include "common/mappedfile.h"
#include "linker.h"
#include "remains.h"
#include "staletail.h"

#include <algorithm>

namespace {

/// The channels that were asked for, or that the recording itself tells of; at least one.
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
    return {ChannelRequest{}};
}

void addSets(Channel &channel, const SetGroup &group)
{
    constexpr std::size_t mostSets = 64;
    for (const ParameterSet &set : group.sets) {
        const auto &known = channel.parameterSets;
        if (known.size() < mostSets && std::find(known.begin(), known.end(), set) == known.end())
            channel.parameterSets.push_back(set);
    }
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
    const Numbering numbering(codec, counterBitsOf(codec, found, channels.size()), isReordered(found));
    std::vector<ChannelBuilder> builders;
    for (std::size_t i = 0; i < channels.size(); ++i) {
        channels[i].codec = codec;
        if (requests[i].width > 0)
            channels[i].request = requests[i];
        builders.emplace_back(channels[i], numbering, losses);
    }
    for (std::size_t i = 0; i < found.pictures.size(); ++i) {
        const std::uint8_t channel = links.channels[i];
        if (channel == Links::none)
            continue;
        builders[channel].add(found.pictures[i]);
        if (found.pictures[i].setsId != 0)
            addSets(channels[channel], found.sets[found.pictures[i].setsId - 1U]);
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

} // namespace

Findings findRecording(const MappedFile &file, const std::vector<ChannelRequest> &requests,
                       const Progress &progress)
{
    const Bytes bytes = file.bytes();
    const std::vector<Span> boxes;
    Span payload{0, bytes.size()};
    Landmarks landmarks = searchUnits(file, payload, boxes, progress);
    payload.size = recordingEnd(bytes, payload, landmarks) - payload.offset;
    cutOff(landmarks, payload.end());

    Findings findings;
    Remains remains = classifyRemains(bytes, payload, boxes, landmarks);
    findings.sound = std::move(remains.sound);
    findings.losses = std::move(remains.losses);
    findings.clock = clockOf(landmarks.blocks);
    const AccessUnits found = groupUnits(bytes, landmarks.codec, landmarks.units);
    const std::vector<ChannelRequest> channels = channelsOf(bytes, requests, landmarks);
    const Links links = linkChannels(landmarks.codec, found, channels, findings.losses);
    findings.channels = buildChannels(landmarks.codec, found, links, channels, findings.losses);
    findings.units = withoutLengths(found.units);
    return findings;
}
