#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The first byte of the ext4 area on a camera's card; the FAT volume lies before it.
inline constexpr std::uint64_t cardOffset = 104857600;

/// A command line that was found to be sound.
struct Options {
    enum class Command { Help, Version, List, Read };
    Command command = Command::Help;
    std::string device = {};
    std::uint64_t offset = 0; ///< bytes
    std::vector<std::string> path = {}; ///< the parts of the path on the card; none: the root
    std::string target = {}; ///< `Read` only
};

/// Throws Failure (`Usage`).
Options parseOptions(int argc, char **argv);

/// The parts of a path on the card; empty parts and "." are dropped. Throws Failure (`Usage`) where a part is
/// longer than any name can be.
std::vector<std::string> splitPath(std::string_view path);

void printHelp();
void printVersion();
