#pragma once

#include "drive.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QSize>

/// The telemetry blocks between the media data of a recording: a tag of three letters, the payload's length
/// as five decimal digits, the payload.
namespace telemetry {

/// The channels' sizes and rates, such as vid:[2]1920.1080.30:1280.720.30.
[[nodiscard]] QByteArray channelBlock(const QList<QSize> &pictures, int fps);
/// An RMC sentence with its checksum; the time in UTC, the speed in knots.
[[nodiscard]] QByteArray positionBlock(const QDateTime &time, const DriveState &state);
/// One accelerometer reading, stamped with the camera's local clock.
[[nodiscard]] QByteArray accelerationBlock(const QDateTime &localTime, const Acceleration &acceleration);

} // namespace telemetry
