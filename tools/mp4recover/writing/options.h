#pragma once

#include "reading/findings.h"

#include <string>
#include <vector>

/// A command line that was found to be sound.
struct Options {
    enum class Command { Help, Version, Recover };
    Command command = Command::Recover;
    std::string source = {};
    std::string target = {};
    std::vector<ChannelRequest> channels = {}; ///< --ch1, --ch2, ... in order
};

/// Throws Failure (`Usage`).
[[nodiscard]] Options parseOptions(const std::vector<std::string> &arguments);

[[nodiscard]] std::string helpText();
