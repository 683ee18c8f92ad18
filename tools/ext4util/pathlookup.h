#pragma once

#include "filesystem.h"
#include <string>
#include <vector>

/// The inode that a path leads to from the root, links on the card followed. Throws Failure: `NotFound`, or
/// `Damaged` where the name may stand in a part of a folder that is lost.
CardInode lookUp(const FileSystem &fs, std::vector<std::string> parts, Findings &findings);
