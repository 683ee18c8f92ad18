#pragma once

#include "findings.h"

#include <cstdint>
#include <optional>
#include <vector>

/// What is usual in a channel: how its numbers advance and how long its groups are.
struct NumberHabits {
    std::int64_t groupLength = 0; ///< pictures from key picture to key picture; 0: it varies, or isn't known
    double stepsPerPicture = 1; ///< pictures that nothing refers to share a number in H.264
    int tolerance = 0; ///< by how much a number may be off: pictures may be coded out of order
    bool areNumbersUsable = false;
    bool doKeysRestart = true; ///< the numbers, as IDR does
};

/// `breaks`: indexes of the pictures before which some may be missing.
[[nodiscard]] NumberHabits numberHabitsOf(const Channel &channel, const std::vector<std::size_t> &breaks);

/// The length of group that channels without one of their own may borrow: the one that all others have.
[[nodiscard]] std::int64_t commonGroupLength(const std::vector<NumberHabits> &all);

/// Judges how many pictures are missing before one, by the numbers that pictures carry and by the distance of
/// the key pictures.
class MissingCost
{
public:
    /// `behind` is the picture, `end` the next one before which some may be missing. `counts` are those of
    /// the pictures before, with what is missing there.
    MissingCost(const Channel &channel, const NumberHabits &habits, const std::vector<std::int64_t> &counts,
                std::size_t behind, std::size_t end);

    /// As a squared number of standard errors; 0 if everything agrees.
    [[nodiscard]] double operator()(std::int64_t missing) const;
    /// Key pictures among so many missing ones.
    [[nodiscard]] double missingKeys(std::int64_t missing) const;

private:
    [[nodiscard]] double numberCost(std::int64_t steps, std::uint32_t from) const;

    const Channel &m_channel;
    const NumberHabits &m_habits;
    const Picture &m_behind;
    std::uint32_t m_numberBefore = 0;
    std::optional<std::int64_t> m_sinceKey; ///< pictures from the last key picture to the last picture
    std::optional<std::int64_t> m_toKey; ///< from the picture behind to the next key picture
};
