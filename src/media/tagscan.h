#pragma once

#include <QList>
#include <QtGlobal>

class QFile;

/// Kinds of the tagged blocks that the camera writes between the media data, in the order in which they are
/// reported.
enum class BlockKind { DAT, GPS, SHO };
inline constexpr int blockKindCount = 3;

/// Where the payload of a block stands in its file, in bytes.
struct BlockPlace {
    qint64 offset = 0;
    qint64 length = 0;
    bool operator==(const BlockPlace &) const = default;
};

/// The places of all blocks, by kind and in file order.
struct BlockPlaces {
    QList<BlockPlace> ofKind[blockKindCount];
};

/// Most blocks of one kind that are reported; an hour has about 36,000 of the most frequent kind. A file made
/// to exhaust memory has more, and the rest is left out.
inline constexpr qsizetype maximumBlocksOfAKind = 1'000'000;

/// Finds the blocks: 3 ASCII bytes of tag, 5 ASCII characters of a decimal length, then as many bytes of
/// payload. For each kind by itself: the next tag is searched behind the last block; a tag whose length is no
/// number is passed over with its 8 bytes of header; a header or payload that overruns the file ends the
/// search for that kind. Reads the open file once from start to end on two threads and keeps no more than
/// some megabytes of it. A file that shrinks meanwhile counts as ending where the reading met its end. Any
/// thread.
[[nodiscard]] BlockPlaces findBlocks(QFile &file);
