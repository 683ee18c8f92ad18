#pragma once

#include "reading/bytes.h"
#include "reading/findings.h"
#include "sound/soundformat.h"
#include "time/timing.h"

#include <cstdint>
#include <vector>

class OutputFile;

struct SoundResult {
    double seconds = 0; ///< with silence
    double silentSeconds = 0; ///< put in for what is lost
};

/// Writes the sound as MP3: MPEG audio as it is, all else coded anew. Silence stands for what is lost.
/// `losses` in file order; `clock` shows 0 where the pictures begin. Throws Failure.
[[nodiscard]] SoundResult writeSound(OutputFile &target, Bytes bytes, const Sound &sound,
                                     const SoundFormat &format, const ClockLine &clock,
                                     const std::vector<Span> &losses);
