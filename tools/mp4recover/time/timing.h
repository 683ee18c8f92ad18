#pragma once

#include "reading/findings.h"
#include "time/clockmarks.h"
#include "time/rates.h"

#include <cstdint>
#include <vector>

/// A clock as a line over the file: what time it was when a byte was written.
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

/// When the pictures of a channel are decoded and shown, in ticks of 1 / timescale s.
struct VideoTimes {
    int timescale = 0;
    std::vector<std::int64_t> decode;
    std::vector<std::int32_t> shownLater; ///< presentation minus decoding; empty: all 0
    std::int64_t lastDuration = 0;
    std::int64_t lost = 0; ///< pictures missing between those that are there
    std::int64_t firstShown = 0; ///< presentation time of the picture that is shown first
    [[nodiscard]] std::int64_t end() const { return decode.empty() ? 0 : decode.back() + lastDuration; }
};

/// What is known of a channel beside its pictures.
struct ChannelHints {
    RateHints rate;
    std::vector<std::uint32_t> order; ///< as from displayOrder()
};

/// Counts each channel's pictures against the clock. Where pictures are missing the one before lasts longer,
/// so that what follows keeps its time; where a channel's first ones are, its first picture lasts longer.
/// `hints`: one for each channel.
[[nodiscard]] std::vector<VideoTimes> timePictures(const Findings &findings,
                                                   const std::vector<ChannelHints> &hints);
