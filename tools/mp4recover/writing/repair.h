#pragma once

#include "reading/bytes.h"
#include "reading/findings.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

struct ChannelReport {
    std::size_t found = 0; ///< frames written
    std::int64_t lost = 0; ///< frames known to be missing between them
};

struct RepairReport {
    std::vector<ChannelReport> channels;
    double soundSeconds = 0; ///< 0: no sound
    double silentSeconds = 0; ///< of these, silence in place of what is lost
};

/// Makes a playable recording of what was found: an MP4 at `target` and, if there is sound, an MP3 of the
/// same name. Both appear under their names when they are whole, or not at all. Throws Failure.
[[nodiscard]] RepairReport repair(Bytes source, const Findings &findings, const std::string &target,
                                  const std::function<void(double)> &progress);

/// The same path with the extension ".mp3".
[[nodiscard]] std::string soundPathFor(const std::string &target);
