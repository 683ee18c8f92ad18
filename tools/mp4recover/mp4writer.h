#pragma once

#include "bytes.h"
#include "findings.h"
#include "parametersets.h"
#include "timing.h"

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
    /// For each unit of a parameter set in the stream, whether it stays in its picture. A damaged one would
    /// take the place of the good one in the configuration.
    std::function<bool(UnitBytes)> isSetKept;
};

/// Writes an MP4 of all tracks, interleaved by time; the samples' bytes are not copied before. Throws
/// Failure. `progress` is told the part that is done.
void writeMp4(OutputFile &target, Bytes source, const std::vector<Unit> &units,
              const std::vector<VideoTrack> &tracks, const std::function<void(double)> &progress);
