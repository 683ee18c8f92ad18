#include "gsensorgraph.h"

#include <cmath>

void GSensorGraph::setMediaData(MediaDataViewModel *mediaData)
{
    if (mediaData == m_mediaData)
        return;
    if (m_mediaData)
        m_mediaData->disconnect(this);
    m_mediaData = mediaData;
    if (mediaData)
        connect(mediaData, &MediaDataViewModel::idChanged, this, &GSensorGraph::clearGraph);
    Q_EMIT mediaDataChanged();
}

void GSensorGraph::setCurrentTime(double seconds)
{
    if (seconds == m_currentTime)
        return;
    m_currentTime = seconds;
    follow(seconds);
    Q_EMIT currentTimeChanged();
}

void GSensorGraph::setIsScrubbing(bool isScrubbing)
{
    if (isScrubbing == m_isScrubbing)
        return;
    m_isScrubbing = isScrubbing;
    if (!isScrubbing)
        rebuildGraph();
    Q_EMIT isScrubbingChanged();
}

void GSensorGraph::clearGraph()
{
    m_lastAppendTime = 0;
    forEachBuffer([](GGraphBuffer &buffer) { buffer.clear(); });
}

void GSensorGraph::rebuildGraph()
{
    clearGraph();
    for (int i = 0; i * 0.1 <= m_currentTime; ++i)
        appendSample(i * 0.1);
    m_lastAppendTime = m_currentTime;
}

void GSensorGraph::follow(double seconds)
{
    if (m_lastAppendTime > 0 && seconds == 0)
        return;
    if (m_lastAppendTime == 0 && seconds > 0)
        appendSample(0);
    if (seconds < m_lastAppendTime)
        forEachBuffer([seconds](GGraphBuffer &buffer) { buffer.truncateAfter(seconds); });
    if (std::round(seconds * 10) != std::round(m_lastAppendTime * 10)) {
        m_lastAppendTime = seconds;
        appendSample(std::round(seconds * 10) / 10);
    }
}

void GSensorGraph::appendSample(double seconds)
{
    const GSensorInfo *sample = m_mediaData ? m_mediaData->gSensorSample(seconds) : nullptr;
    if (!sample)
        return;
    m_bufferX.append({seconds, sample->accel.x});
    m_bufferY.append({seconds, sample->accel.y});
    m_bufferZ.append({seconds, sample->accel.z});
}

void GSensorGraph::forEachBuffer(const std::function<void(GGraphBuffer &)> &action)
{
    for (GGraphBuffer *buffer : {&m_bufferX, &m_bufferY, &m_bufferZ})
        action(*buffer);
}
