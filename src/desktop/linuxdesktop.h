#pragma once

#include "desktop.h"

#include <memory>

/// The desktop that the program runs on.
[[nodiscard]] std::unique_ptr<Desktop> makeLinuxDesktop();
