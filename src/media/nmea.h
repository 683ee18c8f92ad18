#pragma once

#include "mediadata.h"

#include <optional>
#include <QString>

/// Position and speed of an RMC sentence of status "A". Fields are numbered after empty ones are dropped, the
/// checksum isn't looked at; numbers that are none count as 0. None for other sentences and for fewer than 10
/// fields.
[[nodiscard]] std::optional<GPRMC> parseGPRMC(const QString &nmea);

/// The sentence's time as "yyyy-MM-dd HH:mm:ss", in the computer's time zone if local, else in UTC, whatever
/// its status. Components beyond their range roll over, as a calendar does that adds them up.
[[nodiscard]] std::optional<QString> gprmcTimestamp(const QString &nmea, bool local);
