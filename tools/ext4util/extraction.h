#pragma once

#include "filesystem.h"
#include "targetfile.h"

/// Copies a file's content to `target` and completes it. Blocks that can't be read become zeros and a
/// finding; where the file's structure is wrong it throws Failure (`Damaged`) instead, and `target` stays
/// incomplete.
void extractFile(const FileSystem &fs, const CardInode &file, TargetFile &target, Findings &findings);
