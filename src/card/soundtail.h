#pragma once

#include <QString>

/// Lets an MP3 last as long as the pictures of an MP4, by frames of silence. The merge ends with the shorter
/// of the two, and a camera that writes its sound late leaves less of it when its power is cut: the last
/// pictures before an accident would be lost. Other files are left as they are. Blocks; for worker threads.
void extendSound(const QString &mp3, const QString &mp4);
