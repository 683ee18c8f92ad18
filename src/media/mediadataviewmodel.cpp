#include "mediadataviewmodel.h"

#include "common/log.h"
#include "resampling.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <QRandomGenerator>

namespace {

double steadySeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double randomJitter() { return (QRandomGenerator::global()->generateDouble() * 2 - 1) * 0.000002; }

int truncated(double number)
{
    constexpr double limit = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(number, -limit, limit));
}

} // namespace

MediaDataViewModel::MediaDataViewModel(QObject *parent)
    : MediaDataViewModel({steadySeconds, randomJitter}, parent)
{
}

MediaDataViewModel::MediaDataViewModel(Sources sources, QObject *parent)
    : QObject(parent)
    , m_sources(std::move(sources))
{
}

void MediaDataViewModel::renewId()
{
    // Two changes within one tick of the clock still differ.
    m_id =
        std::max(m_sources.monotonicSeconds(), std::nextafter(m_id, std::numeric_limits<double>::infinity()));
    Q_EMIT idChanged();
}

void MediaDataViewModel::reset()
{
    m_videoInfo.reset();
    m_gpsEvents.clear();
    m_gSensorEvents.clear();
    renewId();
    Q_EMIT eventsChanged();
}

QString MediaDataViewModel::load(const QString &json, double duration)
{
    if (!json.isValidUtf16())
        return QStringLiteral("invalidUTF8");
    DecodedMediaData decoded = decodeMediaData(json.toUtf8());
    if (!decoded.records)
        return decoded.error;

    m_events = std::move(*decoded.records);
    m_videoInfo.reset();
    m_gpsEvents.clear();
    m_gSensorEvents.clear();
    for (const MediaData &record : std::as_const(m_events)) {
        if (record.videoInfo && !m_videoInfo)
            m_videoInfo = record.videoInfo;
        if (record.gpsInfo)
            m_gpsEvents.append(*record.gpsInfo);
        if (record.gSensorInfo)
            m_gSensorEvents.append(*record.gSensorInfo);
    }
    resampling::timePositions(m_gpsEvents);
    resampling::timeAccelerations(m_gSensorEvents);
    if (!m_gpsEvents.isEmpty()) {
        m_gpsEvents = resampling::atWholeSeconds(m_gpsEvents, duration, m_sources.jitterDegrees);
        m_gSensorEvents = resampling::atTenths(m_gSensorEvents, duration);
        renewId();
        logLine(QStringLiteral("[MediaDataViewModel] load: Resampled Range (0 - %1s)")
                    .arg(std::isfinite(duration) ? std::llround(duration) : 0));
    }
    Q_EMIT eventsChanged();
    return {};
}

const GPSInfo *MediaDataViewModel::gpsSample(double seconds) const
{
    return resampling::sampleAt(m_gpsEvents, seconds);
}

const GSensorInfo *MediaDataViewModel::gSensorSample(double seconds) const
{
    return resampling::sampleAt(m_gSensorEvents, seconds);
}

int MediaDataViewModel::speedKmh(double seconds) const
{
    const GPSInfo *sample = gpsSample(seconds);
    return sample && sample->data ? truncated(sample->data->speedKmh) : 0;
}

QString MediaDataViewModel::locationText() const
{
    QString text;
    for (const GPSInfo &sample : m_gpsEvents) {
        const GPRMC data = sample.data.value_or(GPRMC());
        text += QString::asprintf("[00:%02d] lat: %9.6f,  lng: %9.6f,  speed: %3d km\n",
                                  truncated(sample.elapse.value_or(0)), data.latitude, data.longitude,
                                  truncated(data.speedKmh));
    }
    return text;
}

QString MediaDataViewModel::gSensorText() const
{
    QString text;
    for (const GSensorInfo &sample : m_gSensorEvents) {
        text += QString::asprintf("[00:%06.3f]  x: %3d,  y: %3d,  z: %3d\n", sample.elapse.value_or(0),
                                  static_cast<int>(sample.accel.x), static_cast<int>(sample.accel.y),
                                  static_cast<int>(sample.accel.z));
    }
    return text;
}
