#include "kerneltables.h"

#include "uniquefd.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <span>

namespace {

constexpr std::size_t largestFile = std::size_t{16} << 20;

[[noreturn]] void giveUp(const std::string &path, int reason)
{
    throw std::filesystem::filesystem_error("can't be read", path,
                                            std::error_code(reason, std::generic_category()));
}

std::vector<std::string_view> split(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        parts.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

/// None unless every line has its end.
std::optional<std::vector<std::string_view>> linesOf(std::string_view text)
{
    if (!text.ends_with('\n'))
        return std::nullopt;
    text.remove_suffix(1);
    return split(text, '\n');
}

/// Blanks and the like stand as a backslash and three octal digits.
std::string unescaped(std::string_view field)
{
    std::string text;
    while (!field.empty()) {
        const std::string_view digits = field.substr(1, 3);
        const bool isEscape = field[0] == '\\' && digits.size() == 3
            && std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '7'; });
        text += isEscape ? static_cast<char>(std::stoi(std::string(digits), nullptr, 8)) : field[0];
        field.remove_prefix(isEscape ? 4 : 1);
    }
    return text;
}

} // namespace

std::string readWhole(const std::string &path)
{
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file.isOpen())
        giveUp(path, errno);
    std::string content;
    std::array<char, 65536> piece; // NOLINT: filled before it is read
    while (content.size() <= largestFile) {
        const ssize_t count = read(file.get(), piece.data(), piece.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            giveUp(path, errno);
        if (count == 0)
            return content;
        content.append(piece.data(), static_cast<std::size_t>(count));
    }
    giveUp(path, EFBIG);
}

/// Fields of a line: id, parent, MAJOR:MINOR, root, mount point, options, any number of others, "-", type,
/// source, options of the file system.
std::optional<std::vector<KernelMount>> parseMountTable(std::string_view text)
{
    const auto lines = linesOf(text);
    if (!lines)
        return std::nullopt;
    std::vector<KernelMount> entries;
    for (const std::string_view line : *lines) {
        const std::vector<std::string_view> fields = split(line, ' ');
        const auto dash =
            std::find(fields.begin() + std::min<std::ptrdiff_t>(6, std::ssize(fields)), fields.end(), "-");
        if (fields.end() - dash < 4 || !fields[4].starts_with('/') || fields[2].find(':') == fields[2].npos)
            return std::nullopt;
        entries.push_back({std::string(fields[2]), unescaped(fields[4]), unescaped(dash[2])});
    }
    return entries;
}

std::optional<std::vector<std::string>> parseSwapTable(std::string_view text)
{
    const auto lines = linesOf(text);
    if (!lines || !lines->front().starts_with("Filename"))
        return std::nullopt;
    std::vector<std::string> paths;
    for (const std::string_view line : std::span(*lines).subspan(1)) {
        const std::size_t end = line.find_first_of(" \t");
        if (!line.starts_with('/') || end == line.npos)
            return std::nullopt;
        paths.push_back(unescaped(line.substr(0, end)));
    }
    return paths;
}
