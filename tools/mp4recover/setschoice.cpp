#include "setschoice.h"

#include "bitreader.h"

#include <algorithm>
#include <cstdlib>
#include <set>

namespace {

constexpr std::size_t sliceHeaderBytes = 32;
constexpr int macroblock = 16;

std::optional<int> pictureSetOf(Bytes unit, VideoCodec codec)
{
    const bool isH264 = codec == VideoCodec::H264;
    BitReader reader(unit.subspan(isH264 ? 1 : 2));
    if (isH264) {
        reader.unsignedGolomb();
        reader.unsignedGolomb();
    } else {
        const unsigned type = (unit[0] >> 1U) & 0x3fU;
        reader.bit();
        if (type >= 16 && type <= 23)
            reader.bit();
    }
    const std::uint32_t id = reader.unsignedGolomb();
    const std::uint32_t limit = isH264 ? 255 : 63;
    if (!reader.isGood() || id > limit)
        return {};
    return static_cast<int>(id);
}

bool isSlice(VideoCodec codec, int type)
{
    return codec == VideoCodec::H264 ? type == 1 || type == 5 : type <= 9 || (type >= 16 && type <= 21);
}

/// A sequence set without what differs between the codecs.
struct Sequence {
    const ParameterSet *unit;
    int id;
    int width;
    int height;
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

Recorded recordedSets(const Channel &channel)
{
    Recorded recorded;
    for (const ParameterSet &set : channel.parameterSets) {
        if (channel.codec == VideoCodec::H264) {
            if (const auto sequence = parseH264Sequence(set))
                recorded.sequences.push_back({&set, sequence->id, sequence->width, sequence->height});
            else if (const auto picture = parseH264Picture(set))
                recorded.pictures.push_back({&set, picture->id, picture->sequenceId});
        } else if (const auto sequence = parseH265Sequence(set)) {
            recorded.sequences.push_back({&set, sequence->id, sequence->width, sequence->height});
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
    return !request
        || (std::abs(sequence.width - request->width) < macroblock
            && std::abs(sequence.height - request->height) < macroblock);
}

void add(std::vector<ParameterSet> &units, const ParameterSet &unit)
{
    if (std::find(units.begin(), units.end(), unit) == units.end())
        units.push_back(unit);
}

std::optional<ParameterSet> renumbered(VideoCodec codec, const ParameterSet &set, int sequenceId,
                                       int pictureId)
{
    return codec == VideoCodec::H264 ? withH264Ids(set, sequenceId, pictureId)
                                     : withH265Ids(set, sequenceId, pictureId);
}

/// The recorded picture set of that id, if its sequence set is there too.
const PictureSet *matching(const Recorded &recorded, int id)
{
    for (const PictureSet &picture : recorded.pictures)
        if (picture.id == id
            && std::any_of(
                recorded.sequences.begin(), recorded.sequences.end(),
                [&picture](const Sequence &sequence) { return sequence.id == picture.sequenceId; }))
            return &picture;
    return nullptr;
}

/// The sets under the ids in use, those that have them already before others. None if there is no such set.
ChosenSets withUsedIds(const Channel &channel, const Recorded &recorded,
                       const std::map<int, std::size_t> &usedIds)
{
    ChosenSets chosen;
    if (recorded.sequences.empty() || recorded.pictures.empty() || usedIds.empty()
        || (channel.codec == VideoCodec::H265 && !recorded.video))
        return chosen;
    chosen.origin = ChosenSets::Origin::Recorded;
    std::set<int> sequenceIds;
    if (recorded.video)
        add(chosen.units, *recorded.video);
    const auto addSequence = [&](int id) {
        for (const Sequence &sequence : recorded.sequences)
            if (sequence.id == id && sequenceIds.insert(id).second)
                add(chosen.units, *sequence.unit);
    };
    for (const auto &[id, count] : usedIds) {
        if (const PictureSet *picture = matching(recorded, id)) {
            addSequence(picture->sequenceId);
            add(chosen.units, *picture->unit);
            continue;
        }
        const int sequenceId = recorded.sequences.front().id;
        const auto other = renumbered(channel.codec, *recorded.pictures.front().unit, sequenceId, id);
        if (!other)
            return {};
        addSequence(sequenceId);
        add(chosen.units, *other);
        chosen.origin = ChosenSets::Origin::Renumbered;
    }
    readChosen(channel.codec, chosen);
    return chosen;
}

} // namespace

std::map<int, std::size_t> usedPictureSets(Bytes bytes, const std::vector<Unit> &units,
                                           const Channel &channel)
{
    std::map<int, std::size_t> used;
    for (const Picture &picture : channel.pictures) {
        for (std::uint32_t i = picture.firstUnit; i < picture.firstUnit + picture.unitCount; ++i) {
            const Unit &unit = units[i];
            if (unit.size < 3 || !isSlice(channel.codec, unit.type))
                continue;
            const Bytes head = bytes.subspan(unit.offset, std::min<std::size_t>(unit.size, sliceHeaderBytes));
            if (const auto id = pictureSetOf(head, channel.codec))
                ++used[*id];
            break;
        }
    }
    // A few that stand alone come from garbage.
    std::erase_if(used,
                  [&channel](const auto &entry) { return entry.second * 100 < channel.pictures.size(); });
    return used;
}

std::vector<ChosenSets> recordedCandidates(const Channel &channel, const std::map<int, std::size_t> &usedIds)
{
    constexpr std::size_t most = 12;
    Recorded recorded = recordedSets(channel);
    const auto fits = [&channel](const Sequence &sequence) { return isOfSize(sequence, channel.request); };
    std::stable_partition(recorded.sequences.begin(), recorded.sequences.end(), fits);
    std::vector<ChosenSets> candidates;
    const auto offer = [&](const Recorded &some) {
        ChosenSets chosen = withUsedIds(channel, some, usedIds);
        const bool isKnown = std::any_of(candidates.begin(), candidates.end(), [&](const ChosenSets &other) {
            return other.units == chosen.units;
        });
        if (chosen.origin != ChosenSets::Origin::None && !isKnown && candidates.size() < most)
            candidates.push_back(std::move(chosen));
    };
    Recorded fitting = recorded;
    std::erase_if(fitting.sequences, [&fits](const Sequence &sequence) { return !fits(sequence); });
    offer(fitting.sequences.empty() ? recorded : fitting);
    for (const Sequence &sequence : recorded.sequences)
        for (const PictureSet &picture : recorded.pictures)
            offer({recorded.video, {sequence}, {picture}});
    return candidates;
}

void readChosen(VideoCodec codec, ChosenSets &chosen)
{
    chosen.read = readSets(codec, chosen.units);
    const auto take = [&chosen](const auto &sequences) {
        if (sequences.empty())
            return;
        chosen.width = sequences.front().width;
        chosen.height = sequences.front().height;
        chosen.framesPerSecond = sequences.front().framesPerSecond;
    };
    take(chosen.read.h264Sequences);
    take(chosen.read.h265Sequences);
}

bool agrees(VideoCodec codec, UnitBytes set, const ChosenSets &chosen)
{
    const auto isSame = [set](const ParameterSet &unit) { return std::ranges::equal(unit, set); };
    if (std::any_of(chosen.units.begin(), chosen.units.end(), isSame))
        return true;
    const auto hasTwin = [](const auto &own, const auto &others) {
        return own && std::any_of(others.begin(), others.end(), [&own](const auto &other) {
                   return other.id == own->id && other.width == own->width && other.height == own->height;
               });
    };
    const auto refersToOne = [](const auto &own, const auto &sequences) {
        return own && std::any_of(sequences.begin(), sequences.end(), [&own](const auto &sequence) {
                   return sequence.id == own->sequenceId;
               });
    };
    if (codec == VideoCodec::H264)
        return hasTwin(parseH264Sequence(set), chosen.read.h264Sequences)
            || refersToOne(parseH264Picture(set), chosen.read.h264Sequences);
    return parseH265Video(set) || hasTwin(parseH265Sequence(set), chosen.read.h265Sequences)
        || refersToOne(parseH265Picture(set), chosen.read.h265Sequences);
}
