#pragma once

#include <optional>
#include <QString>

/// None: it went well. Else what failed and why, as a line for standard error.
using Failure = std::optional<QString>;
