#pragma once

#include "reading/findings.h"

#include <cstdint>
#include <vector>

/// A place in the file and the time at which it was written.
struct ClockMark {
    std::uint64_t offset = 0;
    double seconds = 0;
};

/// Where the second of the telemetry's clock changes, by accelerations where there are some, else by
/// positions. Changes within losses aren't seen. Readings that fall behind others are left out.
[[nodiscard]] std::vector<ClockMark> changesOfSecond(const Findings &findings);
