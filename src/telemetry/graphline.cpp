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
        : m_first(first)
        , m_highest(first)
        , m_lowest(first)
        , m_last(first)
    {
    }
    [[nodiscard]] bool holds(QPointF point) const { return std::floor(point.x()) == std::floor(m_first.x()); }
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
    const auto place = [&](const GSample &sample) {
        const double x = std::clamp(sample.time / durationSeconds, 0.0, 1.0) * area.width();
        const double value = std::clamp(static_cast<double>(sample.value), -largestReading, largestReading);
        return QPointF(x, area.height() - (value + largestReading) / (2 * largestReading) * area.height());
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
