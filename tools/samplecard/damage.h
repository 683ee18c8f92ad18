#pragma once

#include "failure.h"

#include <QByteArray>
#include <QList>

/// The units of an H.264 byte stream with start codes, without these.
[[nodiscard]] QList<QByteArray> splitUnits(const QByteArray &stream);

/// Overwrites parameter sets in a recording so that their ids are out of range: every copy of them, or the
/// copy in the index and the first one among the media data.
[[nodiscard]] Failure damageParameterSets(const QString &path, const QList<QByteArray> &sets,
                                          bool everywhere);
