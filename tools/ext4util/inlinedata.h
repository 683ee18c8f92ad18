#pragma once

#include "filesystem.h"
#include <vector>

/// The bytes of a file or link that is kept in its inode; as many as its size says. Throws Failure
/// (`Damaged`).
std::vector<std::byte> readInlineData(const FileSystem &fs, const CardInode &inode);
