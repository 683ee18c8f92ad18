#pragma once

#include "time/timing.h"

#include <cstdint>
#include <vector>

/// How fast something grows by the clock, and how sure that is.
struct Pace {
    double perSecond = 0; ///< 0: not known
    double uncertainty = 0; ///< standard error, relative
};

/// Measures how fast sound grows. Writers are late by changing times, so all readings count, and neighbours
/// that are off alike count as one; each stretch between two losses only tells how fast it grows within
/// itself.
class PaceMeter
{
public:
    explicit PaceMeter(const ClockLine &clock);

    /// So much there is in all up to the byte at `offset`. `isAfterLoss`: some is missing before it.
    void add(std::uint64_t offset, double amount, bool isAfterLoss);
    [[nodiscard]] Pace pace() const;

private:
    struct Reading {
        double seconds;
        double amount;
        std::size_t part; ///< between two losses
    };
    [[nodiscard]] Pace sloped() const;
    [[nodiscard]] Pace total() const;

    const ClockLine &m_clock;
    std::vector<Reading> m_readings;
    std::size_t m_part = 0;
};
