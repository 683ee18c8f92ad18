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
        rebuildSoon(); // the seek that ends it is yet to come
    Q_EMIT isScrubbingChanged();
}

void GSensorGraph::clearGraph()
{
    m_isRebuildPending = false;
    m_lastAppendTime = 0;
    for (GGraphBuffer *buffer : {&m_bufferX, &m_bufferY, &m_bufferZ})
        buffer->replace({});
}

void GSensorGraph::rebuildGraph()
{
    m_isRebuildPending = false;
    QList<GSample> x;
    QList<GSample> y;
    QList<GSample> z;
    for (int i = 0; m_mediaData && i * 0.1 <= m_currentTime; ++i) {
        const double seconds = i * 0.1;
        if (const GSensorInfo *sample = m_mediaData->gSensorSample(seconds)) {
            x.append({seconds, sample->accel.x});
            y.append({seconds, sample->accel.y});
            z.append({seconds, sample->accel.z});
        }
    }
    m_bufferX.replace(std::move(x));
    m_bufferY.replace(std::move(y));
    m_bufferZ.replace(std::move(z));
    m_lastAppendTime = m_currentTime;
}

bool GSensorGraph::isComplete() const
{
    const QList<GSample> &samples = m_bufferX.samples();
    if (samples.isEmpty())
        return !m_mediaData || !m_mediaData->gSensorSample(m_currentTime);
    const auto tenth = [](double seconds) { return static_cast<int>(std::lround(seconds * 10)); };
    const int first = tenth(samples.first().time);
    const int last = tenth(samples.last().time);
    // The last one may stand half a step ahead of the time.
    return samples.size() == last - first + 1 && last * 0.1 > m_currentTime - 0.1
        && last <= tenth(m_currentTime);
}

void GSensorGraph::rebuildSoon()
{
    if (std::exchange(m_isRebuildPending, true))
        return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (m_isRebuildPending)
                rebuildGraph();
        },
        Qt::QueuedConnection);
}

void GSensorGraph::follow(double seconds)
{
    if (m_lastAppendTime > 0 && seconds == 0)
        return;
    if (m_lastAppendTime == 0 && seconds > 0)
        appendSample(0);
    if (seconds < m_lastAppendTime) {
        for (GGraphBuffer *buffer : {&m_bufferX, &m_bufferY, &m_bufferZ})
            buffer->truncateAfter(seconds);
    }
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
