#pragma once

#include <functional>
#include <QtGlobal>
#include <span>

class MappedFile;

/// Kinds of the tagged blocks that the camera writes between the media data, in the order in which they are
/// reported.
enum class BlockKind { DAT, GPS, SHO };
inline constexpr int blockKindCount = 3;

/// Is given a block's payload, which points into the file's bytes.
using BlockHandler = std::function<void(BlockKind, std::span<const uchar> payload)>;

/// Most blocks of one kind that are reported; an hour has about 36,000 of the most frequent kind. A file made
/// to exhaust memory has more, and the rest is left out.
inline constexpr qsizetype maximumBlocksOfAKind = 1'000'000;

/// Finds the blocks: 3 ASCII bytes of tag, 5 ASCII characters of a decimal length, then as many bytes of
/// payload. For each kind by itself: the next tag is searched behind the last block; a tag whose length is no
/// number is passed over with its 8 bytes of header; a header or payload that overruns the file ends the
/// search for that kind. Goes once through the file on two threads and keeps no more than some megabytes of
/// it in memory. Any thread; the handler is called for each kind in file order, one call at a time, and
/// before this returns. False if there were more blocks of a kind than are reported.
bool findBlocks(const MappedFile &file, const BlockHandler &handler);
