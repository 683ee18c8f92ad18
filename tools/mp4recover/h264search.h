#pragma once

#include "encodernote.h"
#include "findings.h"
#include "parametersets.h"
#include "sliceguess.h"
#include "trialdecoder.h"

#include <vector>

/// Sets of H.264 for pictures in a row, at best a whole group from its key frame on, found by decoding them.
struct H264Found {
    H264Guess guess;
    /// With it so many pictures are decoded without a message, from the first one on; 0 for a mere guess.
    std::size_t cleanPictures = 0;
};
[[nodiscard]] H264Found searchH264Sets(const HeaderGuess &headers, const EncoderNote &note,
                                       const ChannelRequest &size, const std::vector<int> &pictureIds,
                                       const std::vector<Sample> &samples, double effort);

[[nodiscard]] std::vector<ParameterSet> buildH264Sets(H264Guess guess, const std::vector<int> &pictureIds);
