#pragma once

#include "bytes.h"
#include "findings.h"

#include <QString>

/// What the finder would find in an undamaged MP4, read through libavformat: all pictures and all sound, and,
/// if asked for, the index's times. Without channels if the file can't be read.
[[nodiscard]] Findings findingsOfIndex(const QString &path, Bytes bytes, bool keepTimes);
