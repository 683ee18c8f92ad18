#pragma once

#include "reading/bytes.h"
#include "reading/findings.h"

#include <array>
#include <optional>
#include <string_view>
#include <vector>

/// A box of the ISO base media file format (ISO/IEC 14496-12, 4.2), with its header.
struct Box {
    Span span; ///< ends with the file at the latest
    std::uint32_t headerSize = 8;
    std::array<char, 4> type{};
    bool isWhole = true; ///< its size says no more than there is

    [[nodiscard]] bool is(std::string_view name) const
    {
        return std::string_view(type.data(), type.size()) == name;
    }
    [[nodiscard]] Span content() const { return {span.offset + headerSize, span.size - headerSize}; }
};

/// The box that begins there and ends before `end` or is cut off by it. None if its type isn't printable, or
/// its size is smaller than its header. A size of 0 means all that is left.
[[nodiscard]] std::optional<Box> boxAt(Bytes bytes, std::uint64_t offset, std::uint64_t end);

/// The first box of that type in the content of another.
[[nodiscard]] std::optional<Box> childOf(Bytes bytes, const Box &parent, std::string_view name);

/// Where the media data of a recording begins: behind the header of the first box "mdat" if only known boxes
/// stand before it, else at 0. What its size says is never believed.
[[nodiscard]] std::uint64_t mediaBegin(Bytes bytes);

/// The index, if a box "moov" stands there that begins as one does.
[[nodiscard]] std::optional<Box> indexAt(Bytes bytes, std::uint64_t offset);

/// The indexes in front of the media data.
[[nodiscard]] std::vector<Box> indexesBefore(Bytes bytes, std::uint64_t mediaBegin);
