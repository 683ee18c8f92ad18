#pragma once

#include "reading/boxes.h"
#include "sets/parametersets.h"

#include <vector>

/// A track of an index.
struct IndexTrack {
    enum class Kind { Other, Video, Sound };

    Kind kind = Kind::Other;
    VideoCodec codec = VideoCodec::H264;
    int width = 0;
    int height = 0;
    std::vector<ParameterSet> parameterSets;
    std::vector<Span> samples; ///< of pictures; none if the tables don't agree with each other

    SoundKind sound = SoundKind::None;
    int sampleRateHz = 0;
    int channelCount = 0;
};

/// What an index says of its tracks (ISO/IEC 14496-12, 8). Not checked against the file. Memory: bounded by
/// the index' size.
[[nodiscard]] std::vector<IndexTrack> tracksOf(Bytes bytes, const Box &index);
