#include "mediadataviewmodel.h"

#include "common/log.h"
#include "embeddeddata.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <QCoreApplication>
#include <QPointer>
#include <QRandomGenerator>
#include <QThreadPool>

namespace {

double steadySeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double randomJitter() { return (QRandomGenerator::global()->generateDouble() * 2 - 1) * 0.000002; }

/// Whole, toward zero; what no integer holds becomes the nearest one.
qint64 truncated(double number)
{
    constexpr double limit = 9223372036854774784.0; // the largest below 2^63
    return static_cast<qint64>(std::clamp(number, -limit, limit));
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
    ++m_request;
    m_videoInfo.reset();
    m_telemetry.positions.clear();
    m_telemetry.accelerations.clear();
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
    MediaRecords records;
    for (MediaData &record : *decoded.records)
        records.append(std::move(record));
    load(std::move(records), duration);
    return {};
}

void MediaDataViewModel::load(MediaRecords records, double duration)
{
    ++m_request;
    publish(resampling::resampled(std::move(records), duration, m_sources.jitterDegrees));
}

void MediaDataViewModel::loadFile(const QString &path, double duration)
{
    reset();
    const auto work = [path, duration, self = QPointer(this), request = m_request,
                       jitter = m_sources.jitterDegrees] {
        ParsedMediaData parsed = parseMediaData(path);
        auto telemetry = std::make_shared<resampling::Telemetry>(
            resampling::resampled(std::move(parsed.records), duration, jitter));
        const auto deliver = [self, request, telemetry, error = parsed.error] {
            if (!self || self->m_request != request)
                return;
            if (error.isEmpty())
                self->publish(std::move(*telemetry));
            else
                logLine(QStringLiteral("[AppViewModel] getMp4Data failed: ") + error);
        };
        QMetaObject::invokeMethod(QCoreApplication::instance(), deliver, Qt::QueuedConnection);
    };
    QThreadPool::globalInstance()->start(work);
}

void MediaDataViewModel::publish(resampling::Telemetry telemetry)
{
    // What a day of it has allocated takes some time to free.
    QThreadPool::globalInstance()->start([former = std::exchange(m_telemetry, std::move(telemetry))] {});
    const MediaRecords &records = m_telemetry.records;
    m_videoInfo = records.videoInfos.isEmpty() ? std::nullopt : std::optional(records.videoInfos.first());
    if (!m_telemetry.positions.isEmpty()) {
        renewId();
        const double duration = m_telemetry.duration;
        logLine(QStringLiteral("[MediaDataViewModel] load: Resampled Range (0 - %1s)")
                    .arg(std::isfinite(duration) ? std::llround(duration) : 0));
    }
    Q_EMIT eventsChanged();
}

const GPSInfo *MediaDataViewModel::gpsSample(double seconds) const
{
    return resampling::sampleAt(m_telemetry.positions, seconds);
}

const GSensorInfo *MediaDataViewModel::gSensorSample(double seconds) const
{
    return resampling::sampleAt(m_telemetry.accelerations, seconds);
}

int MediaDataViewModel::speedKmh(double seconds) const
{
    const GPSInfo *sample = gpsSample(seconds);
    constexpr qint64 limit = std::numeric_limits<int>::max();
    const qint64 speed = sample && sample->data ? truncated(sample->data->speedKmh) : 0;
    return static_cast<int>(std::clamp(speed, -limit, limit));
}

QString MediaDataViewModel::locationText() const
{
    QString text;
    for (const GPSInfo &sample : m_telemetry.positions) {
        const GPRMC data = sample.data.value_or(GPRMC());
        text += QString::asprintf("[00:%02lld] lat: %9.6f,  lng: %9.6f,  speed: %3lld km\n",
                                  truncated(sample.elapse.value_or(0)), data.latitude, data.longitude,
                                  truncated(data.speedKmh));
    }
    return text;
}

QString MediaDataViewModel::gSensorText() const
{
    QString text;
    for (const GSensorInfo &sample : m_telemetry.accelerations) {
        text += QString::asprintf("[00:%06.3f]  x: %3lld,  y: %3lld,  z: %3lld\n", sample.elapse.value_or(0),
                                  sample.accel.x, sample.accel.y, sample.accel.z);
    }
    return text;
}
