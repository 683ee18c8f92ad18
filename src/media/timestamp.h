#pragma once

#include <optional>
#include <QDateTime>
#include <QStringView>

/// Reads "yyyy-MM-dd HH:mm:ss" strictly, as local time of the computer. None if the text has another form,
/// names no day or time that exists, or a moment that the clocks skip; of a repeated hour the later
/// instant.
[[nodiscard]] std::optional<QDateTime> parseTimestamp(QStringView text);
