#pragma once

#include "reading/findings.h"

#include <algorithm>
#include <span>

/// Adds a parameter set to those of the channel, once.
inline void addSet(Channel &channel, std::span<const std::uint8_t> set)
{
    constexpr std::size_t mostSets = 64;
    auto &sets = channel.parameterSets;
    const bool isKnown = std::any_of(sets.begin(), sets.end(), [set](const auto &known) {
        return std::equal(known.begin(), known.end(), set.begin(), set.end());
    });
    if (!isKnown && sets.size() < mostSets)
        sets.emplace_back(set.begin(), set.end());
}
