#pragma once

#include "media/mediadata.h"

class MediaDataViewModel;
class QIODevice;

/// Telemetry as text for other programs. UTF-8, numbers in the C locale. Written piece by piece, since a day
/// of it is long.
namespace telemetryformats {

/// One object: "records" as scanned, then "videoInfo", "gps" and "gsensor" on the recording's time axis; what
/// is absent is null. One line for each record.
void json(const MediaDataViewModel &data, QIODevice *target);

/// GPX 1.1: the positions as the receiver told them, none moved, left out or repeated, with UTC times. Speed
/// and course, which GPX itself has no place for, stand in the usual extension, in m/s and degrees.
void gpx(const QList<GPSInfo> &positions, QIODevice *target);

/// One line for each position and each accelerometer sample, with a line of column names: its second on the
/// player's axis, the seconds since the first of its kind by its own clock, and the time by that clock: the
/// satellites' in UTC, the camera's as it was set.
void csv(const MediaDataViewModel &data, QIODevice *target);

} // namespace telemetryformats
