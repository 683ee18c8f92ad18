#pragma once

#include "findings.h"

#include <cstdint>
#include <vector>

/// Telemetry blocks of one kind as a camera writes them: so many a second, at equal distances, each with the
/// whole second of its clock. Where cameras write them at no fixed rate, only those remain here in which the
/// second changes, one a second.
struct BlockSeries {
    std::vector<std::uint64_t> offsets;
    std::vector<std::int64_t> seconds; ///< as many; never falling
    std::int64_t perSecond = 1;

    [[nodiscard]] double period() const { return 1.0 / static_cast<double>(perSecond); }
};

/// Pictures that stand beside the blocks.
struct PictureBeat {
    std::vector<std::uint64_t> offsets; ///< sorted
    double perSecond = 0; ///< by what is known without a clock; 0: nothing
};

/// One series for each kind that there is, the denser first. `holes` are the stretches in which some are
/// lost. `beat` tells how many come in a second where the clock was too short for a whole one.
[[nodiscard]] std::vector<BlockSeries> blockSeriesOf(const std::vector<ClockReading> &readings,
                                                     const std::vector<Span> &holes, const PictureBeat &beat);

/// The time of each block, seconds: exact to a part of the period where the second's change is there to count
/// from; between two holes without one they are at least at the right distances.
[[nodiscard]] std::vector<double> timesOf(const BlockSeries &series, const std::vector<Span> &holes);

/// How many of the blocks around `behind`, which is the first one behind a hole, show another second than
/// they would if `missing` blocks were lost before it. `places` are those of the blocks before it in the
/// series.
[[nodiscard]] int contradictions(const BlockSeries &series, const std::vector<std::int64_t> &places,
                                 std::size_t behind, std::size_t end, std::int64_t missing);
