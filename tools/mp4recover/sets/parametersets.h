#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

/// Parameter sets of H.264 (ITU-T H.264, 7.3.2) and H.265 (ITU-T H.265, 7.3.2), as units without length or
/// start code. The parsers are strict: what doesn't parse to its stop bit, or has an unknown profile, is no
/// set.
using ParameterSet = std::vector<std::uint8_t>;
using UnitBytes = std::span<const std::uint8_t>;

struct H264Sequence {
    int profile = 0; ///< profile_idc
    int constraints = 0; ///< the byte behind it
    int level = 0; ///< level_idc
    int id = 0;
    int chromaFormat = 1;
    bool hasSeparatePlanes = false;
    int log2MaxFrameNum = 4;
    int orderType = 0; ///< pic_order_cnt_type
    int log2MaxOrderLsb = 4;
    int maxReferenceFrames = 1;
    bool areGapsAllowed = false;
    bool isFrameOnly = true; ///< frame_mbs_only_flag
    int codedWidth = 0;
    int codedHeight = 0;
    int width = 0; ///< with cropping
    int height = 0;
    double framesPerSecond = 0; ///< 0: not said
    std::optional<int> maxReorderFrames;
};

struct H264Picture {
    int id = 0;
    int sequenceId = 0;
    bool isCabac = false;
    bool hasFieldOrder = false; ///< bottom_field_pic_order_in_frame_present_flag
    bool hasTransform8x8 = false;
    std::array<int, 2> referenceCounts{1, 1};
};

struct H265Video {
    int id = 0;
};

struct H265Sequence {
    int id = 0;
    int videoId = 0;
    int profile = 0; ///< general_profile_idc
    int level = 0; ///< general_level_idc
    int chromaFormat = 1;
    bool hasSeparatePlanes = false;
    int log2MaxOrderLsb = 4;
    int log2CodingTree = 4;
    int codedWidth = 0;
    int codedHeight = 0;
    int width = 0;
    int height = 0;
    double framesPerSecond = 0; ///< 0: not said
    int maxReorderPictures = 0; ///< of the highest sub-layer
};

struct H265Picture {
    int id = 0;
    int sequenceId = 0;
    bool hasDependentSlices = false;
    bool hasOutputFlag = false;
    int extraSliceHeaderBits = 0;
};

[[nodiscard]] std::optional<H264Sequence> parseH264Sequence(UnitBytes unit);
/// `chromaFormat` is that of the sequence set it refers to.
[[nodiscard]] std::optional<H264Picture> parseH264Picture(UnitBytes unit, int chromaFormat = 1);
[[nodiscard]] std::optional<H265Video> parseH265Video(UnitBytes unit);
[[nodiscard]] std::optional<H265Sequence> parseH265Sequence(UnitBytes unit);
[[nodiscard]] std::optional<H265Picture> parseH265Picture(UnitBytes unit);

/// What sets of H.264 are built from when a recording has none.
struct H264Guess {
    int width = 0;
    int height = 0;
    int sequenceId = 0;
    int pictureId = 0;
    int profile = 100;
    int log2MaxFrameNum = 4;
    int orderType = 2;
    int log2MaxOrderLsb = 4;
    int maxReferenceFrames = 4;
    int reorderFrames = 0; ///< more than 0: said in the set, or a decoder finds out too late
    bool isFrameOnly = true;
    bool hasFieldOrder = false; ///< bottom_field_pic_order_in_frame_present_flag
    bool isCabac = true;
    bool hasTransform8x8 = false;
    bool hasDeblockingControl = true;
    bool isWeighted = false;
    int bipredictionWeights = 0; ///< weighted_bipred_idc
    int referenceCount = 1; ///< num_ref_idx_l0_default_active
    int chromaQpOffset = 0;
    int initialQp = 26;
};
[[nodiscard]] ParameterSet buildH264Sequence(const H264Guess &guess);
[[nodiscard]] ParameterSet buildH264Picture(const H264Guess &guess);

/// The same for H.265, main profile.
struct H265Guess {
    int width = 0;
    int height = 0;
    int sequenceId = 0;
    int pictureId = 0;
    int log2MaxOrderLsb = 8;
    int log2MinCodingBlock = 3;
    int log2CodingTree = 4;
    int log2MinTransform = 2;
    int log2MaxTransform = 5;
    int transformDepthInter = 0;
    int transformDepthIntra = 0;
    bool hasAsymmetricPartitions = false;
    bool hasAdaptiveOffset = true; ///< sample_adaptive_offset_enabled_flag
    bool hasTemporalMotion = true;
    bool hasStrongIntraSmoothing = true;
    bool hasSignHiding = true;
    bool hasQpDelta = true;
    int qpDeltaDepth = 1;
    bool hasTransformSkip = false;
    bool isWavefront = false; ///< entropy_coding_sync_enabled_flag
    bool isFilteredAcrossSlices = true; ///< pps_loop_filter_across_slices_enabled_flag
    bool isWeighted = false;
    bool hasReferenceSet = false; ///< one: the picture before; else they stand in the slices
    int referenceCount = 1;
    int decodedPictures = 5; ///< sps_max_dec_pic_buffering
    int reorderPictures = 2;
};
[[nodiscard]] ParameterSet buildH265Video(const H265Guess &guess);
[[nodiscard]] ParameterSet buildH265Sequence(const H265Guess &guess);
[[nodiscard]] ParameterSet buildH265Picture(const H265Guess &guess);
