#include "reading/boxes.h"

#include <algorithm>

namespace {

constexpr std::uint32_t shortHeader = 8;
constexpr std::uint32_t longHeader = 16;
constexpr std::size_t mostBoxesBefore = 1000;

bool isPrintable(char character) { return character >= 0x20 && character < 0x7f; }

} // namespace

std::optional<Box> boxAt(Bytes bytes, std::uint64_t offset, std::uint64_t end)
{
    end = std::min<std::uint64_t>(end, bytes.size());
    if (end < shortHeader || offset > end - shortHeader)
        return std::nullopt;
    Box box;
    std::uint64_t size = bigEndian32(bytes.data() + offset);
    std::copy_n(bytes.data() + offset + 4, box.type.size(), box.type.begin());
    if (!std::all_of(box.type.begin(), box.type.end(), isPrintable))
        return std::nullopt;
    if (size == 1) {
        if (end - offset < longHeader)
            return std::nullopt;
        size = bigEndian64(bytes.data() + offset + shortHeader);
        box.headerSize = longHeader;
    }
    const std::uint64_t room = end - offset;
    if (size == 0)
        size = room;
    if (size < box.headerSize)
        return std::nullopt;
    box.isWhole = size <= room;
    box.span = {offset, std::min(size, room)};
    return box;
}

std::optional<Box> childOf(Bytes bytes, const Box &parent, std::string_view name)
{
    const Span content = parent.content();
    std::uint64_t at = content.offset;
    while (const auto box = boxAt(bytes, at, content.end())) {
        if (box->is(name))
            return box;
        at = box->span.end();
    }
    return std::nullopt;
}

std::uint64_t mediaBegin(Bytes bytes)
{
    std::uint64_t at = 0;
    for (std::size_t count = 0; count < mostBoxesBefore; ++count) {
        if (at + shortHeader > bytes.size())
            return 0;
        // The size of the media data may be nonsense, even below that of its header.
        const bool isMedia = std::equal(bytes.begin() + static_cast<std::ptrdiff_t>(at + 4),
                                        bytes.begin() + static_cast<std::ptrdiff_t>(at + 8), "mdat");
        if (isMedia) {
            const bool isLong = bigEndian32(bytes.data() + at) == 1;
            return std::min<std::uint64_t>(at + (isLong ? longHeader : shortHeader), bytes.size());
        }
        const auto box = boxAt(bytes, at, bytes.size());
        if (!box || !box->isWhole)
            return 0;
        at = box->span.end();
    }
    return 0;
}

std::optional<Box> indexAt(Bytes bytes, std::uint64_t offset)
{
    const auto box = boxAt(bytes, offset, bytes.size());
    if (!box || !box->is("moov") || box->headerSize != shortHeader)
        return std::nullopt;
    const auto first = boxAt(bytes, offset + shortHeader, box->span.end());
    const bool isIndex = first && first->is("mvhd") && first->span.size >= 100 && first->span.size < 200;
    return isIndex ? box : std::nullopt;
}

std::vector<Box> indexesBefore(Bytes bytes, std::uint64_t mediaBegin)
{
    std::vector<Box> indexes;
    std::uint64_t at = 0;
    while (const auto box = boxAt(bytes, at, mediaBegin)) {
        if (const auto index = indexAt(bytes, at); index && box->isWhole)
            indexes.push_back(*index);
        at = box->span.end();
    }
    return indexes;
}
