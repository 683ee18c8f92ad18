#pragma once

#include "boxes.h"
#include "parametersets.h"

#include <vector>

/// A sample as the index tells of it. Not checked against the file.
struct IndexSample {
    std::uint64_t offset = 0;
    std::uint32_t size = 0;
    bool isSync = true;
    IndexedTime time;
};

/// A track of an index.
struct IndexTrack {
    enum class Kind { Other, Video, Sound };

    Kind kind = Kind::Other;
    std::uint32_t timescale = 0;
    std::vector<IndexSample> samples; ///< in decode order; of PCM the chunks

    VideoCodec codec = VideoCodec::H264;
    int width = 0;
    int height = 0;
    std::vector<ParameterSet> parameterSets;

    SoundKind sound = SoundKind::None;
    int sampleRateHz = 0;
    int channelCount = 0;
};

/// The tracks of an index (ISO/IEC 14496-12, 8). Those whose tables are missing, don't agree with each other
/// or tell of more than the file can hold have no samples. Memory: bounded by the index' size.
[[nodiscard]] std::vector<IndexTrack> tracksOf(Bytes bytes, const Box &index);
