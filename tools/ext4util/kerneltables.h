#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the kernel says in /proc and /sys. Who decides by it must not take a part for the whole: what can't
/// be read to its end, or isn't as the kernel writes it, is an error and never an empty answer.

/// Throws std::filesystem::filesystem_error, also where the file is impossibly large.
[[nodiscard]] std::string readWhole(const std::string &path);

struct KernelMount {
    std::string number; ///< MAJOR:MINOR
    std::string folder;
    std::string source;
};

/// The entries of a mountinfo; none if a line is malformed or there is no line.
[[nodiscard]] std::optional<std::vector<KernelMount>> parseMountTable(std::string_view text);

/// The paths in a table of swaps; none if a line is malformed or the heading is missing.
[[nodiscard]] std::optional<std::vector<std::string>> parseSwapTable(std::string_view text);
