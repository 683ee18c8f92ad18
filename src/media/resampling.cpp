#include "resampling.h"

#include "nmea.h"
#include "timestamp.h"

#include <algorithm>
#include <cmath>
#include <QDateTime>
#include <QSet>

namespace {

double secondsBetween(const QDateTime &start, const QDateTime &instant)
{
    return static_cast<double>(start.msecsTo(instant)) / 1000.0;
}

QDateTime startInstant(const QString &timestamp)
{
    return parseTimestamp(timestamp).value_or(QDateTime::currentDateTime());
}

template <typename Sample> double elapseOf(const Sample &sample) { return sample.elapse.value_or(0); }

double usable(double duration)
{
    return std::isfinite(duration) ? std::clamp(duration, 0.0, resampling::longestDuration) : 0.0;
}

QList<GPSInfo> standing(const GPSInfo &fix, double duration, const std::function<double()> &jitterDegrees)
{
    QList<GPSInfo> result;
    const auto last = static_cast<int>(duration);
    for (int second = 0; second <= last; ++second) {
        GPSInfo copy = fix;
        copy.elapse = second;
        if (copy.data) {
            copy.data->latitude += jitterDegrees();
            copy.data->longitude += jitterDegrees();
        }
        result.append(copy);
    }
    return result;
}

} // namespace

namespace resampling {

void timePositions(QList<GPSInfo> &samples)
{
    if (samples.isEmpty())
        return;
    const auto first = gprmcTimestamp(samples.first().nmea, true);
    if (!first)
        return;
    const QDateTime start = startInstant(*first);
    for (GPSInfo &sample : samples) {
        sample.timestamp = gprmcTimestamp(sample.nmea, true);
        sample.data = parseGPRMC(sample.nmea);
        if (const auto instant =
                parseTimestamp(sample.timestamp.value_or(QStringLiteral("2000-01-01 00:00:00"))))
            sample.elapse = secondsBetween(start, *instant);
    }
}

void timeAccelerations(QList<GSensorInfo> &samples)
{
    if (samples.isEmpty())
        return;
    const QDateTime start = startInstant(samples.first().timestamp);
    for (GSensorInfo &sample : samples) {
        if (const auto instant = parseTimestamp(sample.timestamp))
            sample.elapse = secondsBetween(start, *instant);
    }
}

QList<GPSInfo> atWholeSeconds(const QList<GPSInfo> &samples, double duration,
                              const std::function<double()> &jitterDegrees)
{
    if (samples.isEmpty())
        return {};
    duration = usable(duration);
    const double begin = elapseOf(samples.first());
    const double span = elapseOf(samples.last()) - begin;
    if (!(span > 0))
        return standing(samples.first(), duration, jitterDegrees);

    QList<GPSInfo> result;
    QSet<double> used;
    for (const GPSInfo &sample : samples) {
        const double second = std::round((duration / span) * (elapseOf(sample) - begin));
        if (second > std::trunc(duration) || used.contains(second))
            continue;
        used.insert(second);
        result.append(sample);
        result.last().elapse = second;
    }
    return result;
}

QList<GSensorInfo> atTenths(const QList<GSensorInfo> &samples, double duration)
{
    if (samples.isEmpty())
        return {};
    duration = usable(duration);
    const double begin = elapseOf(samples.first());
    const double span = elapseOf(samples.last()) - begin;
    if (!(span > 0) || !(duration > 0))
        return samples;

    const double ratio = span / duration;
    QList<GSensorInfo> result;
    for (int count = 0; count * 0.1 <= duration; ++count) {
        const double seconds = count * 0.1;
        if (const GSensorInfo *sample = sampleAt(samples, begin + ratio * seconds)) {
            result.append(*sample);
            result.last().elapse = seconds;
        }
    }
    return result;
}

} // namespace resampling
