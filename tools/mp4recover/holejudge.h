#pragma once

#include "blockseries.h"
#include "findings.h"
#include "holes.h"
#include "missingcost.h"

#include <cstdint>
#include <vector>

/// What comes at a fixed rate: a channel's pictures in coding order, or blocks of a kind.
struct Lane {
    std::vector<std::uint64_t> offsets;
    double period = 0; ///< seconds
    std::vector<std::int64_t> counts; ///< with what is missing; as far as that was judged
};

/// Indexes into a lane: those before `before` stand before a hole, those from `behind` to `end` between it
/// and the next hole.
struct LaneAtHole {
    std::size_t before = 0;
    std::size_t behind = 0;
    std::size_t end = 0;
    [[nodiscard]] bool isOnBothSides() const { return before > 0 && behind < end; }
};

[[nodiscard]] LaneAtHole placeOf(const Lane &lane, const Span &hole, std::uint64_t limit);

/// Weighs what the lanes tell about how long a hole lasted.
class HoleJudge
{
public:
    HoleJudge(const Findings &findings, const std::vector<Hole> &holes,
              const std::vector<BlockSeries> &blocks, const std::vector<double> &periods);

    /// How many things each lane lost in the hole; 0 for lanes that aren't on both sides of it. Channels come
    /// first among the lanes, in order, then the blocks.
    [[nodiscard]] std::vector<std::int64_t> missingIn(const Hole &hole, const std::vector<Lane> &lanes,
                                                      const std::vector<LaneAtHole> &places) const;

private:
    /// Bytes of a channel's pictures.
    struct Sizes {
        double usual = 0;
        double key = 0;
        double deviation = 0; ///< of the usual ones
    };
    struct Weighing;

    [[nodiscard]] static Sizes sizesOf(const Channel &channel, const std::vector<Unit> &units);
    [[nodiscard]] double unclaimed(std::uint64_t from, std::uint64_t to) const;
    [[nodiscard]] double bytesIn(const Hole &hole, const std::vector<Lane> &lanes,
                                 double &extraSeconds) const;
    void measureBetween(const Channel &channel, const std::vector<std::size_t> &breaks, double period);

    const Findings &m_findings;
    const std::vector<BlockSeries> &m_blocks;
    std::vector<Sizes> m_sizes;
    std::vector<NumberHabits> m_habits;
    std::vector<std::uint64_t> m_unitOffsets; ///< sorted
    std::vector<std::uint64_t> m_bytesBefore; ///< of the units before each, and of all
    double m_betweenPerSecond = 0; ///< bytes that are no unit: sound, blocks, padding
    double m_betweenVariance = 0; ///< of these in a second
};
