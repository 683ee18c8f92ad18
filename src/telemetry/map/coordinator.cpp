#include "coordinator.h"

#include <utility>

void Coordinator::receive(const QString &name)
{
    if (name != u"mapReady")
        return;
    m_isPageThere = true;
    m_sent = {};
    if (!std::exchange(m_isMapReady, true))
        Q_EMIT isMapReadyChanged();
    Q_EMIT pageReady();
}

void Coordinator::update(double latitude, double longitude)
{
    const std::pair coord(latitude, longitude);
    if (!m_isPageThere || coord == std::pair(0.0, 0.0) || coord == m_sent)
        return;
    m_sent = coord;
    Q_EMIT scriptRequested(QString::asprintf("moveMap(%f, %f);", latitude, longitude));
}
