#pragma once

#include "desktop.h"

/// Path of a helper tool: beside the program (an unpacked build) or in the package's folder of helper
/// programs. "ffmpeg" is the system's own, looked up in PATH. Links are resolved. Empty if there is none.
[[nodiscard]] QString findBundledTool(const QString &tool);

/// What is left for a user without privileges, and the size. Both 0 if it can't be told.
[[nodiscard]] DiskSpace diskSpaceOf(const QString &folder);
