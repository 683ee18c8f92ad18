#pragma once

#include <cstddef>
#include <functional>
#include <span>

/// Runs `work` in a copy of this process and brings back the bytes of `result` that it leaves there; nothing
/// else of what it does is seen here, not even its crash. False if it didn't come to its end within so many
/// seconds.
[[nodiscard]] bool runApart(const std::function<void()> &work, std::span<std::byte> result, double seconds);
