#pragma once

#include "filesystem.h"

/// Writes one line for each entry of a folder to standard output: inode, name, size in bytes. Throws Failure.
void listFolder(const FileSystem &fs, const CardInode &folder, Findings &findings);
