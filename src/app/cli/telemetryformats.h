#pragma once

#include <QByteArray>
#include <QJsonArray>

class MediaDataViewModel;
struct MediaData;

/// Telemetry as text for other programs. UTF-8, numbers in the C locale.
namespace telemetryformats {

/// One object: "records" as scanned, then "videoInfo", "gps" and "gsensor" on the recording's time axis; what
/// is absent is null.
[[nodiscard]] QByteArray json(const QJsonArray &records, const MediaDataViewModel &data);

/// GPX 1.1: the positions as the receiver told them, none moved, left out or repeated, with UTC times. Speed
/// and course, which GPX itself has no place for, stand in the usual extension, in m/s and degrees.
[[nodiscard]] QByteArray gpx(const QList<MediaData> &records);

/// One line for each position and each accelerometer sample, with a line of column names: its second on the
/// player's axis, the seconds since the first of its kind by its own clock, and the time by that clock: the
/// satellites' in UTC, the camera's as it was set.
[[nodiscard]] QByteArray csv(const MediaDataViewModel &data);

} // namespace telemetryformats
