#pragma once

#include <QString>

/// The files that a repair makes beside the video that it writes, named after it: for "temp.mp4" they are
/// "temp.mp3", "temp.mkv", "temp2.mp4" and "temp3.mp4".
struct RepairFiles {
    /// The path of the video ends in ".mp4".
    explicit RepairFiles(const QString &video);

    QString sound; ///< the recovered sound
    QString joined; ///< video and sound, in a container that takes both as they are
    QString source; ///< the same under the name that the conversion reads
    QString converted; ///< with AAC sound, before it takes the video's place
};
