#include "options.h"

#include "report.h"
#include <algorithm>
#include <climits>
#include <cstdio>

namespace {

constexpr std::size_t longestName = 255;

std::uint64_t parseOffset(std::string_view text)
{
    std::uint64_t value = 0;
    if (text.empty())
        throw Failure(ExitStatus::Usage, "offset-wrong");
    for (const char c : text) {
        // Below 2^60: sums with any size on a card stay within 64 bits.
        if (c < '0' || c > '9' || value >= (1ULL << 56))
            throw Failure(ExitStatus::Usage, "offset-wrong");
        value = value * 10 + static_cast<std::uint64_t>(c - '0');
    }
    return value;
}

void takeOperands(Options &options, const std::vector<std::string> &operands)
{
    const std::size_t wanted = options.command == Options::Command::List ? 3 : 4;
    if (operands.size() != wanted)
        throw Failure(ExitStatus::Usage, "usage:try--help");
    options.device = operands[0];
    options.offset = parseOffset(operands[1]);
    options.path = splitPath(operands[2]);
    if (std::find(options.path.begin(), options.path.end(), "..") != options.path.end())
        throw Failure(ExitStatus::Usage, "path-wrong");
    if (options.command == Options::Command::List)
        return;
    options.target = operands[3];
    if (options.path.empty())
        throw Failure(ExitStatus::Usage, "path-empty");
    if (options.target.empty() || options.target.size() >= PATH_MAX)
        throw Failure(ExitStatus::Usage, "target-name-wrong");
}

} // namespace

std::vector<std::string> splitPath(std::string_view path)
{
    if (path.size() >= PATH_MAX)
        throw Failure(ExitStatus::Usage, "path-too-long");
    std::vector<std::string> parts;
    while (!path.empty()) {
        const std::size_t slash = path.find('/');
        const std::string_view part = path.substr(0, slash);
        path.remove_prefix(slash == std::string_view::npos ? path.size() : slash + 1);
        if (part.size() > longestName)
            throw Failure(ExitStatus::Usage, "path-wrong");
        if (!part.empty() && part != ".")
            parts.emplace_back(part);
    }
    return parts;
}

Options parseOptions(int argc, char **argv)
{
    const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    if (arguments.empty())
        throw Failure(ExitStatus::Usage, "usage:try--help");
    if (arguments[0] == "--help" || arguments[0] == "-h")
        return {.command = Options::Command::Help};
    if (arguments[0] == "--version")
        return {.command = Options::Command::Version};
    if (arguments[0] != "ls" && arguments[0] != "read")
        throw Failure(ExitStatus::Usage, "usage:try--help");
    Options options{.command = arguments[0] == "ls" ? Options::Command::List : Options::Command::Read};
    takeOperands(options, {arguments.begin() + 1, arguments.end()});
    return options;
}

void printVersion() { std::puts("ext4util " EXT4UTIL_VERSION); }

void printHelp()
{
    std::puts(R"(NAME
    ext4util - list folders and extract files of an ext4 file system without mounting it

SYNOPSIS
    ext4util ls DEVICE OFFSET PATH
    ext4util read DEVICE OFFSET PATH TARGET
    ext4util --help | --version

DESCRIPTION
    DEVICE is a block device or an image file, OFFSET the byte (decimal) at which the ext4 file system begins, PATH
    a path inside it, with or without a leading slash. Nothing is ever written to DEVICE. If the file system was not
    unmounted in order, its journal is replayed in memory, so that what is seen is what a mount would give.

    ls      writes one line for each entry of the folder PATH: inode, name, size in bytes, with one blank between.
            "/" or an empty PATH is the root. Names that can't be told in such a line (blanks, control characters,
            invalid UTF-8) are left out, with a word on standard error.
    read    writes the file PATH to TARGET. A file that is at TARGET is removed once PATH is found; the new one appears
            under that name only when it is complete, with PATH's date. Blocks that can't be read become zeros; holes stay holes.

    Messages go to standard error, one or two words to a line.

PRIVILEGES
    The program may be installed set-user-ID root (SECURITY.md tells what that promises). DEVICE is opened with the
    rights of the caller, if these suffice. Otherwise, if it is a whole, removable disk that the system doesn't use and
    OFFSET is 104857600, it is opened as root. All other work, TARGET included, is done with the caller's rights alone.

EXIT STATUS
    0   the result is whole
    1   the command line is wrong
    2   DEVICE can't be opened, or may not be read by this caller
    3   there is no readable ext4 file system at OFFSET
    4   PATH isn't there, or is no folder (ls) or no regular file (read)
    5   there is a result, but something is missing: zeros for unreadable blocks, entries or transactions lost
    6   the structure of the file system is wrong at PATH: there is no result
    7   TARGET or the listing can't be written
    8   no memory, or privileges could not be given up)");
}
