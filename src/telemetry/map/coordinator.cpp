#include "coordinator.h"

void Coordinator::receive(const QString &name)
{
    if (name != u"mapReady" || m_isMapReady)
        return;
    m_isMapReady = true;
    Q_EMIT isMapReadyChanged();
}

void Coordinator::update(double latitude, double longitude)
{
    const std::pair coord(latitude, longitude);
    if (!m_isMapReady || coord == std::pair(0.0, 0.0) || coord == m_sent)
        return;
    m_sent = coord;
    Q_EMIT scriptRequested(QString::asprintf("moveMap(%f, %f);", latitude, longitude));
}
