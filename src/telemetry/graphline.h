#pragma once

#include "ggraphbuffer.h"

#include <QPointF>
#include <QSizeF>

/// The points of one axis' line in an area: the whole duration wide, readings from -50 at the bottom to 50 at
/// the top, larger ones cut off at the edge. An hour of samples has many on each pixel column: of these only
/// the first, the lowest, the highest and the last are kept, which draws the same. Empty for fewer than 2
/// samples or without duration.
[[nodiscard]] QList<QPointF> graphLine(const QList<GSample> &samples, double durationSeconds, QSizeF area);
