#pragma once

/// Ctrl+C and a polite request to end stop the work between two steps, so that what was begun can be cleared
/// away.
namespace interruption {

void watch();
[[nodiscard]] bool isAsked();

} // namespace interruption
