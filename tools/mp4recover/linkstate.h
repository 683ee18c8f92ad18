#pragma once

#include "habits.h"
#include "numbering.h"

#include <array>
#include <cstdint>
#include <optional>

/// What an assignment of the pictures so far tells of a channel.
struct LinkedChannel {
    Numbering numbering;
    std::uint32_t served = 0; ///< 1 + index of its last picture; 0: none yet
    std::uint16_t inGroup = 0; ///< pictures since the last key picture, itself included
    std::uint16_t groupLength = 0;
    std::uint16_t setsId = 0;
    std::uint16_t sliceCount = 0;
    std::uint8_t groupsOfThatLength = 0;
    std::uint8_t pictureSetId = 0;
    std::optional<std::uint32_t> keyId; ///< of its last key picture
    double seconds = 0; ///< of pictures so far
    double passedUntil = 0; ///< seconds: others came though it was due
    float leftInRun = 0; ///< pictures; behind a run what it was too short by, at most 0
    std::array<SizeModel, sizeClassCount> sizes;
    /// 1 + index of its last picture of each kind; 0: none yet
    std::array<std::uint32_t, sizeClassCount> lastOfClass{};

    /// A key picture begins the next group.
    void learnGroup()
    {
        if (inGroup != groupLength) {
            groupLength = inGroup;
            groupsOfThatLength = 0;
        } else if (groupsOfThatLength < 10) {
            ++groupsOfThatLength;
        }
    }
};

/// An assignment of the pictures so far.
struct LinkState {
    std::array<LinkedChannel, maximumChannels> channels;
    double cost = 0;
    std::uint8_t last = noChannel; ///< the channel of the picture before
    std::uint16_t origin = 0; ///< its place among those kept after the picture before
};
