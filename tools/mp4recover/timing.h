#pragma once

#include "findings.h"

#include <cstdint>
#include <vector>

/// The blocks' clock as a line over the file: what time it was when a byte was written.
class ClockLine
{
public:
    explicit ClockLine(const std::vector<ClockMark> &marks);
    /// Does it tell anything?
    [[nodiscard]] bool isUsable() const { return m_marks.size() >= 2; }
    /// Readings that rise with the file.
    [[nodiscard]] const std::vector<ClockMark> &marks() const { return m_marks; }
    /// Seconds at that byte; beyond both ends no more than 0.1 s further.
    [[nodiscard]] double at(std::uint64_t offset) const;

private:
    std::vector<ClockMark> m_marks;
};

/// Frames or samples a second.
struct Rate {
    int numerator = 30;
    int denominator = 1;
    [[nodiscard]] double value() const { return double(numerator) / denominator; }
};

/// When the pictures of a channel are decoded and shown, in ticks of 1 / timescale s.
struct VideoTimes {
    int timescale = 0;
    std::vector<std::int64_t> decode;
    std::vector<std::int32_t> shownLater; ///< presentation minus decoding; empty: all 0
    std::int64_t lastDuration = 0;
    double startSeconds = 0; ///< what the clock showed when the first picture was taken; 0 without clock
    std::int64_t firstShown = 0; ///< presentation time of the picture that is shown first
    [[nodiscard]] std::int64_t end() const { return decode.empty() ? 0 : decode.back() + lastDuration; }
};

/// What is known of a channel's rate beside the clock; 0: nothing.
struct RateHints {
    double inSets = 0;
    int requested = 0;
};

/// Counts pictures against the clock. Where pictures are missing the one before lasts longer, so that what
/// follows keeps its time. `order` as from displayOrder(), `log2MaxFrameNum` 0 where unknown.
[[nodiscard]] VideoTimes timePictures(const Channel &channel, const std::vector<Unit> &units,
                                      const ClockLine &clock, const RateHints &hints,
                                      const std::vector<std::uint32_t> &order, int log2MaxFrameNum);

/// The times of a trusted index, made to begin with 0 and to rise.
[[nodiscard]] VideoTimes timesOfIndex(const Channel &channel);

/// Channels whose first pictures are lost begin late: their first picture then lasts until the second's time.
void alignStarts(std::vector<VideoTimes> &channels);
