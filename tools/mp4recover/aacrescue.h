#pragma once

#include "bytes.h"
#include "findings.h"
#include "soundformat.h"

#include <optional>
#include <vector>

/// Finds whole AAC frames behind bytes that are something else, such as the rest of a picture.
class AacRescue
{
public:
    AacRescue(Bytes bytes, const SoundFormat &format);

    /// The longest end of the part that decodes without a fault; none if only the whole part could.
    [[nodiscard]] std::optional<Span> endOf(const Span &part);
    /// The stretches, and those at the ends of losses where something else begins.
    [[nodiscard]] std::vector<Span> withEndsOf(const std::vector<Span> &losses, std::vector<Span> stretches);

private:
    Bytes m_bytes;
    SoundFormat m_format;
    CodecPtr m_decoder;
    PacketPtr m_packet;
    FramePtr m_frame;
    std::size_t m_trialsLeft;
};
