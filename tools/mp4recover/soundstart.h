#pragma once

#include "bytes.h"
#include "findings.h"

/// Whether the bytes begin as such sound does.
[[nodiscard]] bool isSoundStart(SoundKind kind, Bytes bytes);
