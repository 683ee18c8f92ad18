#pragma once

#include <string_view>

/// Whether a name can stand in a line whose parts are separated by blanks, for a reader that decodes UTF-8
/// strictly: no white space, control or invisible line-breaking character of Unicode's, no slash, no invalid
/// byte.
[[nodiscard]] bool isListableName(std::string_view name);
