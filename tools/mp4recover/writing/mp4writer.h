#pragma once

#include "reading/bytes.h"
#include "reading/findings.h"
#include "sets/parametersets.h"
#include "time/timing.h"

#include <cstdint>
#include <functional>
#include <vector>

class OutputFile;

/// What is written of a channel.
struct VideoTrack {
    const Channel *channel = nullptr;
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> configuration; ///< avcC or hvcC
    VideoTimes times;
    /// Those that may stay in their pictures: a damaged one would take the place of the good one.
    const std::vector<ParameterSet> *sets = nullptr;
};

/// Writes an MP4 of all tracks, interleaved by time; the samples' bytes are not copied before. Throws
/// Failure. `progress` is told the part that is done.
void writeMp4(OutputFile &target, Bytes source, const std::vector<Unit> &units,
              const std::vector<VideoTrack> &tracks, const std::function<void(double)> &progress);
