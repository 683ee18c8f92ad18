#pragma once

#include <QString>

/// The user's own folders as the environment names them. A relative path there is ignored, as the XDG base
/// directory standard wants it.
namespace userfolders {

[[nodiscard]] QString cache();
[[nodiscard]] QString data();

} // namespace userfolders
