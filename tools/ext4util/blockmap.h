#pragma once

#include "filesystem.h"
#include <cstdint>
#include <vector>

struct BlockRun {
    std::uint64_t logical; ///< first block within the file
    std::uint64_t physical;
    std::uint64_t length; ///< blocks
};

/// Where a file's blocks stand. Preallocated blocks that were never written are holes here.
struct BlockMap {
    std::vector<BlockRun> runs; ///< in the order of the file, apart from each other
    std::uint64_t mappedBlocks = 0; ///< unwritten ones included
    std::uint64_t treeBlocks = 0; ///< taken by the map itself
    std::uint64_t end = 0; ///< the block after the last mapped one
    const char *problem = nullptr; ///< a word, if the map is wrong; `runs` is then what came before
};

/// For files and folders with extents or with block pointers, not with inline data.
BlockMap mapBlocks(const FileSystem &fs, const CardInode &inode);
