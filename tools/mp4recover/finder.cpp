#include "finder.h"

#include "channels/cameratrial.h"
#include "channels/channels.h"
#include "common/mappedfile.h"
#include "reading/indextables.h"
#include "reading/staletail.h"
#include "sound/remains.h"

#include <algorithm>

namespace {

/// The channels that were asked for, or that the telemetry or an index tells of.
std::vector<ChannelRequest> channelsOf(Bytes bytes, std::vector<ChannelRequest> channels,
                                       const Landmarks &landmarks, const std::vector<IndexTrack> &tracks)
{
    for (const Block &block : landmarks.blocks)
        if (channels.empty() && block.kind == Block::Kind::Channels)
            channels = channelsOf(bytes, block);
    if (channels.empty())
        for (const IndexTrack &track : tracks)
            if (track.kind == IndexTrack::Kind::Video)
                channels.push_back({track.width, track.height, 0});
    channels.resize(std::min(channels.size(), maximumChannels));
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
    Span payload{mediaBegin(bytes), 0};
    payload.size = bytes.size() - payload.offset;
    Landmarks landmarks = searchUnits(file, payload.offset, progress);
    std::vector<IndexTrack> tracks;
    for (const std::vector<Box> &indexes : {indexesBefore(bytes, payload.offset), landmarks.indexes})
        for (const Box &index : indexes)
            for (IndexTrack &track : tracksOf(bytes, index))
                tracks.push_back(std::move(track));
    const std::vector<ChannelRequest> channels = channelsOf(bytes, requests, landmarks, tracks);
    Findings findings;
    const RecordingEnd end = recordingEnd(bytes, payload, landmarks);
    payload.size = end.offset - payload.offset;
    if (end.isTailStale)
        findings.remarks.emplace_back("an older recording stands behind this one; it was left out");
    cutOff(landmarks, end.offset);
    Remains remains = classifyRemains(bytes, payload, landmarks);
    findings.sound = std::move(remains.sound);
    findings.losses = std::move(remains.losses);
    const AccessUnits found = groupUnits(bytes, landmarks.codec, landmarks.units);
    findings.units = withoutLengths(found.units);
    const Budget budget(bytes.size(), channels.size());
    findChannels(bytes, landmarks.codec, found, channels, tracks, findings, budget);
    for (const IndexTrack &track : tracks)
        if (track.kind == IndexTrack::Kind::Sound && track.sound == findings.sound.kind
            && findings.sound.indexedRateHz == 0)
            findings.sound.indexedRateHz = track.sampleRateHz;
    findings.clock = clockOf(landmarks.blocks);
    return findings;
}
