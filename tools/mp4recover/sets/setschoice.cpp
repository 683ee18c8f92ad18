#include "sets/setschoice.h"

#include "reading/unitheader.h"
#include "sets/setsearch.h"

#include <algorithm>
#include <cstdlib>
#include <set>

namespace {

/// A sequence set without what differs between the codecs.
struct Sequence {
    const ParameterSet *unit;
    int id;
    int width;
    int height;
    double framesPerSecond;
};
struct PictureSet {
    const ParameterSet *unit;
    int id;
    int sequenceId;
};

struct Recorded {
    const ParameterSet *video = nullptr; ///< H.265
    std::vector<Sequence> sequences;
    std::vector<PictureSet> pictures;
};

Recorded recordedSets(VideoCodec codec, const std::vector<ParameterSet> &sets)
{
    Recorded recorded;
    const auto addSequence = [&recorded](const ParameterSet &set, const auto &read) {
        recorded.sequences.push_back({&set, read.id, read.width, read.height, read.framesPerSecond});
    };
    for (const ParameterSet &set : sets) {
        if (codec == VideoCodec::H264) {
            if (const auto sequence = parseH264Sequence(set))
                addSequence(set, *sequence);
            else if (const auto picture = parseH264Picture(set))
                recorded.pictures.push_back({&set, picture->id, picture->sequenceId});
        } else if (const auto sequence = parseH265Sequence(set)) {
            addSequence(set, *sequence);
        } else if (const auto picture = parseH265Picture(set)) {
            recorded.pictures.push_back({&set, picture->id, picture->sequenceId});
        } else if (parseH265Video(set) && !recorded.video) {
            recorded.video = &set;
        }
    }
    return recorded;
}

/// Cameras name the coded size or the cropped one.
bool isOfSize(const Sequence &sequence, const std::optional<ChannelRequest> &request)
{
    constexpr int macroblock = 16;
    return !request
        || (std::abs(sequence.width - request->width) < macroblock
            && std::abs(sequence.height - request->height) < macroblock);
}

ChosenSets chosenOf(VideoCodec codec, std::vector<ParameterSet> units)
{
    ChosenSets chosen;
    chosen.units = std::move(units);
    if (const Recorded read = recordedSets(codec, chosen.units); !read.sequences.empty()) {
        const Sequence &sequence = read.sequences.front();
        chosen.width = sequence.width;
        chosen.height = sequence.height;
        chosen.framesPerSecond = sequence.framesPerSecond;
    }
    return chosen;
}

/// Those of the sets that slices refer to, each id once; empty if one is missing.
std::vector<ParameterSet> withUsedIds(VideoCodec codec, const Recorded &recorded,
                                      const std::map<int, std::size_t> &usedIds)
{
    std::vector<ParameterSet> units;
    if (codec == VideoCodec::H265) {
        if (!recorded.video)
            return {};
        units.push_back(*recorded.video);
    }
    std::vector<const ParameterSet *> pictures;
    std::set<int> sequenceIds;
    for (const auto &[id, count] : usedIds) {
        const auto picture = std::find_if(
            recorded.pictures.begin(), recorded.pictures.end(), [&, id = id](const PictureSet &set) {
                return set.id == id
                    && std::any_of(
                           recorded.sequences.begin(), recorded.sequences.end(),
                           [&set](const Sequence &sequence) { return sequence.id == set.sequenceId; });
            });
        if (picture == recorded.pictures.end())
            return {};
        pictures.push_back(picture->unit);
        for (const Sequence &sequence : recorded.sequences)
            if (sequence.id == picture->sequenceId && sequenceIds.insert(sequence.id).second)
                units.push_back(*sequence.unit);
    }
    for (const ParameterSet *picture : pictures)
        units.push_back(*picture);
    return pictures.empty() ? std::vector<ParameterSet>{} : units;
}

/// What the channel can be played with of its own sets, the likeliest first.
std::vector<std::vector<ParameterSet>> recordedCandidates(const Channel &channel,
                                                          const std::map<int, std::size_t> &usedIds)
{
    constexpr std::size_t most = 12;
    Recorded recorded = recordedSets(channel.codec, channel.parameterSets);
    std::vector<std::vector<ParameterSet>> candidates;
    const auto offer = [&](const Recorded &some) {
        auto units = withUsedIds(channel.codec, some, usedIds);
        if (!units.empty() && candidates.size() < most
            && std::find(candidates.begin(), candidates.end(), units) == candidates.end())
            candidates.push_back(std::move(units));
    };
    const auto fitting = std::stable_partition(
        recorded.sequences.begin(), recorded.sequences.end(),
        [&channel](const Sequence &sequence) { return isOfSize(sequence, channel.request); });
    if (fitting != recorded.sequences.begin())
        recorded.sequences.erase(fitting, recorded.sequences.end());
    offer(recorded);
    for (const Sequence &sequence : recorded.sequences)
        for (const PictureSet &picture : recorded.pictures)
            offer({recorded.video, {sequence}, {picture}});
    return candidates;
}

/// Of the sets that stand in the recording those with which most pictures can be decoded. Proven if it is
/// any.
ChosenSets bestRecorded(Bytes bytes, const std::vector<Unit> &units, const Channel &channel,
                        const std::map<int, std::size_t> &ids, const Budget &budget)
{
    const auto candidates = recordedCandidates(channel, ids);
    if (candidates.empty())
        return {};
    constexpr std::size_t enough = 6;
    const std::vector<Sample> samples =
        samplesForTrial(bytes, units, channel, candidates.size() == 1 ? 1 : enough);
    std::size_t best = 0;
    std::size_t most = 0;
    for (std::size_t i = 0; i < candidates.size() && most < samples.size() && !budget.isSpent(); ++i) {
        const std::size_t good = countDecodable(channel.codec, candidates[i], samples, samples.size() - most);
        if (good > most) {
            most = good;
            best = i;
        }
    }
    ChosenSets chosen = chosenOf(channel.codec, candidates[best]);
    chosen.isProven = most > 0;
    return chosen;
}

} // namespace

std::vector<ChosenSets> setsOfChannels(Bytes bytes, const Findings &findings, std::size_t count,
                                       const Budget &budget)
{
    std::vector<ChosenSets> all;
    for (std::size_t i = 0; i < count; ++i) {
        const Channel &channel = findings.channels[i];
        const auto ids = usedPictureSets(bytes, findings.units, channel);
        all.push_back(bestRecorded(bytes, findings.units, channel, ids, budget));
        if (all.back().isProven)
            continue;
        const auto built = searchSets(bytes, findings.units, channel, ids, budget);
        if (!built || (!all.back().units.empty() && !built->isWhole))
            continue;
        all.back() = chosenOf(channel.codec, built->units);
        all.back().isProven = built->cleanPictures > 0;
    }
    return all;
}

std::map<int, std::size_t> usedPictureSets(Bytes bytes, const std::vector<Unit> &units,
                                           const Channel &channel)
{
    std::map<int, std::size_t> used;
    for (const Picture &picture : channel.pictures) {
        for (std::uint32_t i = picture.firstUnit; i < picture.firstUnit + picture.unitCount; ++i) {
            const Bytes unit = bytes.subspan(units[i].offset, units[i].size);
            if (unit.size() < 3 || kindOf(channel.codec, unit.data()) != UnitKind::Slice)
                continue;
            if (const auto slice = sliceStartOf(channel.codec, unit))
                ++used[slice->pictureSetId];
            break;
        }
    }
    // A few that stand alone come from garbage.
    std::erase_if(used,
                  [&channel](const auto &entry) { return entry.second * 100 < channel.pictures.size(); });
    return used;
}
