#pragma once

#include "reading/bytes.h"
#include "reading/findings.h"

#include <vector>

/// How the picture order of H.264 may stand in slice headers.
struct OrderGuess {
    int orderType = 2; ///< pic_order_cnt_type
    int log2MaxOrderLsb = 4;
    int reorderPictures = 0; ///< so many at most come before another in decode order and are shown after it
};

/// What the slice headers of pictures in decode order tell without parameter sets.
struct HeaderGuess {
    int log2MaxFrameNum = 4; ///< the width in which the numbers follow each other best
    std::vector<OrderGuess> orders; ///< likely ones first
    bool hasB = false; ///< slices predicted from two sides
};

/// `pictures` indexes a run of the channel without losses.
[[nodiscard]] HeaderGuess guessHeaders(Bytes bytes, const std::vector<Unit> &units, const Channel &channel,
                                       std::size_t first, std::size_t count);
