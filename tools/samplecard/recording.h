#pragma once

#include "drive.h"
#include "failure.h"

#include <cstdint>
#include <QDateTime>
#include <QList>
#include <QSize>

/// How the camera left a recording.
enum class Ending {
    Whole,
    PowerCut, ///< no index, and the file ends inside a frame
    FirstSetsDamaged, ///< the parameter sets of the index and of the first second are damaged
    AllSetsDamaged, ///< no whole parameter set is left in the file
};

/// All that a recording is made from; the same values give the same bytes.
struct RecordingPlan {
    DriveKind drive = DriveKind::Driving;
    QDateTime start; ///< by the camera's clock, with its offset from UTC
    QList<QSize> pictures; ///< one per channel
    int fps = 30;
    int seconds = 20;
    std::uint32_t seed = 0;
    bool hasSound = true;
    Ending ending = Ending::Whole;
};

/// Makes the recording as a new file of that name: one video track per channel, sound, telemetry blocks
/// between.
[[nodiscard]] Failure writeRecording(const RecordingPlan &plan, const QString &path);
