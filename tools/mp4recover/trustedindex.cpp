#include "trustedindex.h"

#include "channelsets.h"

#include <algorithm>
#include <limits>

namespace {

constexpr std::size_t testedSamples = 64; // of each track
constexpr std::uint64_t lengthSize = 4;
constexpr std::size_t mostUnits = 1000; // of a sample

/// The units of a sample, one behind the other; none if they don't fill it.
std::vector<Unit> unitsOf(Bytes bytes, VideoCodec codec, const IndexSample &sample)
{
    std::vector<Unit> units;
    if (sample.offset > bytes.size() || sample.size > bytes.size() - sample.offset)
        return {};
    std::uint64_t at = sample.offset;
    const std::uint64_t end = at + sample.size;
    bool hasSlice = false;
    while (at < end) {
        if (end - at < lengthSize + 2 || units.size() == mostUnits)
            return {};
        const std::uint32_t size = bigEndian32(bytes.data() + at);
        at += lengthSize;
        if (size < 2 || size > end - at)
            return {};
        const Bytes unit = bytes.subspan(at, size);
        const auto kind = kindOf(codec, unit.data());
        if (!kind || (*kind == UnitKind::Slice && !sliceStartOf(codec, unit)))
            return {};
        hasSlice |= *kind == UnitKind::Slice;
        units.push_back({at, size, typeOf(codec, unit.data())});
        at += size;
    }
    return hasSlice ? units : std::vector<Unit>{};
}

/// Of those of a track's samples that were tested.
struct Tested {
    std::size_t all = 0;
    std::size_t inFile = 0;
    std::size_t good = 0;

    [[nodiscard]] double share() const
    {
        return all == 0 ? 0 : static_cast<double>(good) / static_cast<double>(all);
    }
};

/// Samples behind the end say nothing against the index: the file may be cut off.
void test(Bytes bytes, const IndexTrack &track, std::uint64_t mediaBegin, Tested &tested)
{
    const std::size_t count = track.samples.size();
    const std::size_t step = std::max<std::size_t>(1, count / testedSamples);
    for (std::size_t i = 0; i < count; i += step) {
        const IndexSample &sample = track.samples[i];
        ++tested.all;
        if (sample.offset > bytes.size() || sample.size > bytes.size() - sample.offset)
            continue;
        ++tested.inFile;
        const bool isGood = sample.offset >= mediaBegin
            && (track.kind != IndexTrack::Kind::Video || !unitsOf(bytes, track.codec, sample).empty());
        tested.good += isGood ? 1U : 0U;
    }
}

/// How many first slices stand outside of all samples.
std::size_t countOutside(const std::vector<IndexTrack> &tracks, const Landmarks &landmarks)
{
    std::vector<Span> samples;
    for (const IndexTrack &track : tracks) {
        if (track.kind != IndexTrack::Kind::Video)
            continue;
        for (const IndexSample &sample : track.samples)
            samples.push_back({sample.offset, sample.size});
    }
    std::sort(samples.begin(), samples.end(),
              [](const Span &a, const Span &b) { return a.offset < b.offset; });
    std::size_t outside = 0;
    std::size_t next = 0;
    for (const FoundUnit &unit : landmarks.units) {
        if (!unit.slice.isFirst || unit.kind != UnitKind::Slice)
            continue;
        while (next < samples.size() && samples[next].end() <= unit.offset)
            ++next;
        outside += next < samples.size() && samples[next].offset <= unit.offset ? 0U : 1U;
    }
    return outside;
}

Channel channelOf(Bytes bytes, const IndexTrack &track, Findings &findings)
{
    Channel channel;
    channel.codec = track.codec;
    channel.timescale = track.timescale;
    bool isAfterLoss = false;
    for (const IndexSample &sample : track.samples) {
        const std::vector<Unit> units = unitsOf(bytes, track.codec, sample);
        if (units.empty() || findings.units.size() > std::numeric_limits<std::uint32_t>::max() - mostUnits) {
            isAfterLoss = true;
            continue;
        }
        Picture picture;
        picture.firstUnit = static_cast<std::uint32_t>(findings.units.size());
        picture.unitCount = static_cast<std::uint16_t>(units.size());
        picture.isSync = sample.isSync;
        picture.followsLoss = isAfterLoss;
        isAfterLoss = false;
        for (const Unit &unit : units) {
            const Bytes unitBytes = bytes.subspan(unit.offset, unit.size);
            const UnitKind kind = kindOf(track.codec, unitBytes.data()).value_or(UnitKind::End);
            if (kind == UnitKind::Slice) {
                if (const auto slice = sliceStartOf(track.codec, unitBytes))
                    picture.isReference = slice->isReference;
            } else if (kind == UnitKind::SequenceSet || kind == UnitKind::PictureSet
                       || kind == UnitKind::VideoSet) {
                addSet(channel, unitBytes);
            }
            findings.units.push_back(unit);
        }
        channel.pictures.push_back(picture);
        channel.times.push_back(sample.time);
    }
    for (const ParameterSet &set : track.parameterSets)
        addSet(channel, set);
    return channel;
}

Sound soundOf(Bytes bytes, const IndexTrack &track)
{
    Sound sound;
    sound.kind = track.sound;
    sound.sampleRateHz = track.sampleRateHz;
    sound.channelCount = track.channelCount;
    sound.areSampleBordersKnown = track.sound != SoundKind::Pcm16;
    for (const IndexSample &sample : track.samples) {
        if (sample.offset <= bytes.size() && sample.size <= bytes.size() - sample.offset && sample.size > 0)
            sound.stretches.push_back({sample.offset, sample.size});
    }
    return sound;
}

} // namespace

bool isTrustworthy(Bytes bytes, const std::vector<IndexTrack> &tracks, const Landmarks &landmarks)
{
    constexpr double enough = 0.75;
    constexpr std::size_t fewOutside = 2;
    const std::uint64_t begin = mediaBegin(bytes);
    Tested video;
    Tested sound;
    for (const IndexTrack &track : tracks) {
        if (track.kind == IndexTrack::Kind::Video)
            test(bytes, track, begin, video);
        else if (track.sound != SoundKind::None)
            test(bytes, track, begin, sound);
    }
    return video.good > 0 && static_cast<double>(video.good) >= enough * static_cast<double>(video.inFile)
        && (sound.all == 0 || sound.share() >= enough * video.share())
        && countOutside(tracks, landmarks) <= fewOutside + landmarks.units.size() / 100;
}

Findings findingsOf(Bytes bytes, const std::vector<IndexTrack> &tracks,
                    const std::vector<ChannelRequest> &requests)
{
    Findings findings;
    findings.isIndexTrusted = true;
    for (const IndexTrack &track : tracks) {
        if (track.kind == IndexTrack::Kind::Video) {
            Channel channel = channelOf(bytes, track, findings);
            if (findings.channels.size() < requests.size() && requests[findings.channels.size()].width > 0)
                channel.request = requests[findings.channels.size()];
            findings.channels.push_back(std::move(channel));
        } else if (track.sound != SoundKind::None && findings.sound.kind == SoundKind::None) {
            findings.sound = soundOf(bytes, track);
        }
    }
    return findings;
}
