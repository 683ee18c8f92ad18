#include "resampling.h"

#include "nmea.h"
#include "timestamp.h"

#include <algorithm>
#include <cmath>
#include <QDateTime>
#include <QSet>

namespace resampling {
namespace {

double secondsBetween(const QDateTime &start, const QDateTime &instant)
{
    return static_cast<double>(start.msecsTo(instant)) / 1000.0;
}

/// Reads texts many of which are the same as the one before.
class TimestampReader
{
public:
    const std::optional<QDateTime> &read(const QString &text)
    {
        if (text != m_text || m_text.isEmpty()) {
            m_text = text;
            m_instant = parseTimestamp(text);
        }
        return m_instant;
    }

private:
    QString m_text;
    std::optional<QDateTime> m_instant;
};

double usable(double duration)
{
    return std::isfinite(duration) ? std::clamp(duration, 0.0, longestDuration) : 0.0;
}

double spanOf(const Times &times) { return times.last().value_or(0) - times.first().value_or(0); }

/// Of samples whose first one has a time that can be read.
Times positionTimes(const QList<GPSInfo> &samples)
{
    TimestampReader reader;
    const auto instantOf = [&reader](const GPSInfo &sample) {
        return reader.read(gprmcTimestamp(sample.nmea, true).value_or(QStringLiteral("2000-01-01 00:00:00")));
    };
    const QDateTime start = instantOf(samples.first()).value_or(QDateTime::currentDateTime());
    Times times;
    times.reserve(samples.size());
    for (const GPSInfo &sample : samples) {
        const std::optional<QDateTime> instant = instantOf(sample);
        times.append(instant ? std::optional(secondsBetween(start, *instant)) : sample.elapse);
    }
    return times;
}

Times accelerationTimes(const QList<GSensorInfo> &samples)
{
    Times times;
    if (samples.isEmpty())
        return times;
    TimestampReader reader;
    const QDateTime start = reader.read(samples.first().timestamp).value_or(QDateTime::currentDateTime());
    times.reserve(samples.size());
    for (const GSensorInfo &sample : samples) {
        const std::optional<QDateTime> &instant = reader.read(sample.timestamp);
        times.append(instant ? std::optional(secondsBetween(start, *instant)) : sample.elapse);
    }
    return times;
}

Times elapsesOf(const QList<GPSInfo> &samples)
{
    Times times;
    times.reserve(samples.size());
    for (const GPSInfo &sample : samples)
        times.append(sample.elapse);
    return times;
}

GPSInfo timed(GPSInfo sample)
{
    sample.timestamp = gprmcTimestamp(sample.nmea, true);
    sample.data = parseGPRMC(sample.nmea);
    return sample;
}

QList<GPSInfo> resampledPositions(const QList<GPSInfo> &samples, double duration,
                                  const std::function<double()> &jitterDegrees)
{
    const bool isTimed = gprmcTimestamp(samples.first().nmea, true).has_value();
    const Times times = isTimed ? positionTimes(samples) : elapsesOf(samples);
    const bool isStanding = !(spanOf(times) > 0);
    QList<GPSInfo> result;
    std::optional<qsizetype> last;
    GPSInfo decoded; // shared by all places of a sample
    for (const Placed &placed : atWholeSeconds(times, duration)) {
        if (last != placed.sample)
            decoded = isTimed ? timed(samples[placed.sample]) : samples[placed.sample];
        last = placed.sample;
        result.append(decoded);
        GPSInfo &sample = result.last();
        sample.elapse = placed.seconds;
        if (isStanding && sample.data) {
            sample.data->latitude += jitterDegrees();
            sample.data->longitude += jitterDegrees();
        }
    }
    return result;
}

QList<GSensorInfo> resampledAccelerations(const QList<GSensorInfo> &samples, double duration,
                                          bool hasPositions)
{
    const Times times = accelerationTimes(samples);
    QList<GSensorInfo> result;
    if (const auto placed = hasPositions ? atTenths(times, duration) : std::nullopt) {
        result.reserve(placed->size());
        for (const auto &[sample, seconds] : *placed) {
            result.append(samples[sample]);
            result.last().elapse = seconds;
        }
        return result;
    }
    result = samples;
    for (qsizetype i = 0; i < result.size(); ++i)
        result[i].elapse = times[i];
    return result;
}

} // namespace

QList<Placed> atWholeSeconds(const Times &times, double duration)
{
    QList<Placed> result;
    if (times.isEmpty())
        return result;
    duration = usable(duration);
    const double last = std::trunc(duration);
    const double begin = times.first().value_or(0);
    const double span = spanOf(times);
    if (!(span > 0)) {
        for (double second = 0; second <= last; ++second)
            result.append({0, second});
        return result;
    }
    QSet<double> used;
    for (qsizetype i = 0; i < times.size(); ++i) {
        const double second = std::round((duration / span) * (times[i].value_or(0) - begin));
        if (second > last || used.contains(second))
            continue;
        used.insert(second);
        result.append({i, second});
    }
    return result;
}

std::optional<QList<Placed>> atTenths(const Times &times, double duration)
{
    duration = usable(duration);
    if (times.isEmpty() || !(spanOf(times) > 0) || !(duration > 0))
        return std::nullopt;
    const double begin = times.first().value_or(0);
    const double ratio = spanOf(times) / duration;
    const auto timeAt = [&times](qsizetype index) { return times[index].value_or(0); };
    QList<Placed> result;
    for (int count = 0; count * 0.1 <= duration; ++count) {
        const double seconds = count * 0.1;
        const qsizetype sample = indexAt(times.size(), timeAt, begin + ratio * seconds);
        if (sample >= 0)
            result.append({sample, seconds});
    }
    return result;
}

Telemetry resampled(MediaRecords records, double duration, const std::function<double()> &jitterDegrees)
{
    Telemetry telemetry;
    const bool hasPositions = !records.positions.isEmpty();
    if (hasPositions)
        telemetry.positions = resampledPositions(records.positions, duration, jitterDegrees);
    telemetry.accelerations = resampledAccelerations(records.accelerations, duration, hasPositions);
    telemetry.records = std::move(records);
    telemetry.duration = duration;
    return telemetry;
}

} // namespace resampling
