#pragma once

#include "outcome.h"

#include <optional>
#include <QCoroTask>

class QIODevice;

enum class TelemetryFormat { Json, Location, GSensor, Gpx, Csv };
[[nodiscard]] std::optional<TelemetryFormat> telemetryFormat(const QString &name);

/// The telemetry of a recording file that lies on the computer.
struct TelemetryRequest {
    QString recording; ///< path
    std::optional<double> durationSeconds; ///< none: that of the movie's first picture track
    TelemetryFormat format = TelemetryFormat::Json;
};

/// Needs no card. A movie whose length can't be told is told of with a length of 0 and the outcome
/// Incomplete.
QCoro::Task<Outcome> tellTelemetry(TelemetryRequest request, QIODevice *results);
