#pragma once

#include <QString>

/// Why a file must not be given to ffmpeg, which opens any format that it knows: empty if there is no reason.
/// Looks at it as ffmpeg does. What no format is recognised in ffmpeg may refuse by itself. Blocks, but for
/// nothing but a disk; any thread.
///
/// formats are the names of those that are allowed, separated by commas.
[[nodiscard]] QString reasonAgainstInput(const QString &path, const char *formats);
