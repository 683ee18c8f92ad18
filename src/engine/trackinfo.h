#pragma once

#include <QSize>

enum class TrackKind { Video, Audio };

/// One track as the file's header tells it.
struct TrackInfo {
    int index = -1; ///< of the track in the file
    TrackKind kind = TrackKind::Video;
    double durationSeconds = 0; ///< 0 where the header doesn't tell
    QSize pictureSize; ///< video only
};
