#include "graphline.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double largestReading = 50;

/// The samples of one pixel column, by what has to be drawn of them.
class Column
{
public:
    explicit Column(QPointF first)
        : m_column(static_cast<qint64>(first.x()))
        , m_first(first)
        , m_highest(first)
        , m_lowest(first)
        , m_last(first)
    {
    }
    [[nodiscard]] bool holds(QPointF point) const { return static_cast<qint64>(point.x()) == m_column; }
    void add(QPointF point)
    {
        if (point.y() < m_highest.y())
            m_highest = point;
        if (point.y() > m_lowest.y())
            m_lowest = point;
        m_last = point;
    }
    void appendTo(QList<QPointF> &line) const
    {
        const bool highestFirst = m_highest.x() <= m_lowest.x();
        line.append(m_first);
        for (const QPointF point :
             {highestFirst ? m_highest : m_lowest, highestFirst ? m_lowest : m_highest, m_last}) {
            if (point != line.last())
                line.append(point);
        }
    }

private:
    qint64 m_column;
    QPointF m_first;
    QPointF m_highest;
    QPointF m_lowest;
    QPointF m_last;
};

} // namespace

QList<QPointF> graphLine(const QList<GSample> &samples, double durationSeconds, QSizeF area)
{
    if (samples.size() < 2 || !(durationSeconds > 0))
        return {};
    const double pixelsPerSecond = area.width() / durationSeconds;
    const double pixelsPerUnit = area.height() / (2 * largestReading);
    const auto place = [&](const GSample &sample) {
        const double value = std::clamp(static_cast<double>(sample.value), -largestReading, largestReading);
        return QPointF(std::clamp(sample.time * pixelsPerSecond, 0.0, area.width()),
                       area.height() - (value + largestReading) * pixelsPerUnit);
    };
    QList<QPointF> line;
    Column column(place(samples.first()));
    for (qsizetype i = 1; i < samples.size(); ++i) {
        const QPointF point = place(samples[i]);
        if (column.holds(point)) {
            column.add(point);
            continue;
        }
        column.appendTo(line);
        column = Column(point);
    }
    column.appendTo(line);
    return line;
}
