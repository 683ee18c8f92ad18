#pragma once

#include "bytes.h"
#include "findings.h"
#include "parametersets.h"
#include "pictureorder.h"

#include <map>
#include <vector>

/// The parameter sets that a channel is played with.
struct ChosenSets {
    enum class Origin { Recorded, Renumbered, Built, None };
    Origin origin = Origin::None;
    bool isProven = false; ///< pictures were decoded with them
    std::vector<ParameterSet> units;
    ChannelSets read; ///< the same, parsed
    int width = 0;
    int height = 0;
    double framesPerSecond = 0; ///< 0: not said
};

/// Picture set ids that the slices of a channel refer to, with how many pictures do.
[[nodiscard]] std::map<int, std::size_t> usedPictureSets(Bytes bytes, const std::vector<Unit> &units,
                                                         const Channel &channel);

/// What the channel can be played with of its own sets, the likeliest first. Where the ids are not those that
/// slices use the sets are given these. Empty if a sequence or picture set is missing.
[[nodiscard]] std::vector<ChosenSets> recordedCandidates(const Channel &channel,
                                                         const std::map<int, std::size_t> &usedIds);

/// Fills in what follows from `units`.
void readChosen(VideoCodec codec, ChosenSets &chosen);

/// Whether a set in the stream agrees with those that were chosen, so that it may stay in its picture.
[[nodiscard]] bool agrees(VideoCodec codec, UnitBytes set, const ChosenSets &chosen);
