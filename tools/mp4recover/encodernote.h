#pragma once

#include "bytes.h"
#include "findings.h"

#include <optional>

/// What an encoder wrote about its own settings into the stream. x264 does, in a message of user data before
/// the first picture; cameras hardly ever do. These values can't be found by decoding: wrong ones give no
/// message, only other brightness or colours.
struct EncoderNote {
    std::optional<int> initialQp; ///< 26 + pic_init_qp_minus26
    std::optional<int> chromaQpOffset;
};

/// Looks at the first pictures of the channel.
[[nodiscard]] EncoderNote encoderNoteOf(Bytes bytes, const std::vector<Unit> &units, const Channel &channel);
