#pragma once

#include "filesystem.h"
#include <functional>
#include <string_view>

struct FolderEntry {
    ext2_ino_t inode;
    std::string_view name; ///< any bytes; "." and ".." are among the names
    bool isTrusted; ///< false: the checksum of its block or of the folder's inode is wrong
};

/// Gives each entry to `take`, in the folder's order, until that returns false. Parts that can't be read are
/// told in `findings` and passed over; what is sound before and after them is given.
void forEachEntry(const FileSystem &fs, const CardInode &folder, Findings &findings,
                  const std::function<bool(const FolderEntry &)> &take);
