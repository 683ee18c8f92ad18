#include "mapposition.h"

void MapPosition::setMediaData(MediaDataViewModel *mediaData)
{
    if (mediaData == m_mediaData)
        return;
    if (m_mediaData)
        m_mediaData->disconnect(this);
    m_mediaData = mediaData;
    if (mediaData)
        connect(mediaData, &MediaDataViewModel::eventsChanged, this, &MapPosition::redraw);
    Q_EMIT mediaDataChanged();
    redraw();
}

void MapPosition::setCurrentTime(double seconds)
{
    if (seconds == m_currentTime)
        return;
    m_currentTime = seconds;
    Q_EMIT currentTimeChanged();
    redraw();
}

void MapPosition::redraw()
{
    const GPSInfo *record =
        m_mediaData && m_currentTime > 0 ? m_mediaData->gpsSample(m_currentTime) : nullptr;
    if (record) {
        m_lastLatitude = record->data ? record->data->latitude : 0;
        m_lastLongitude = record->data ? record->data->longitude : 0;
    }
    Q_EMIT redrawn();
}
