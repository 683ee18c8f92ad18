#pragma once

#include "mediadata.h"

#include <functional>
#include <QList>

/// How telemetry gets onto the recording's time axis. Pure functions; an empty elapse counts as 0.
namespace resampling {

/// Longest recording that is resampled, in seconds: a damaged file may claim any length.
inline constexpr double longestDuration = 24 * 60 * 60;

/// Sets timestamp, data and elapse of each sample, elapse being seconds since the first one. Leaves all as
/// they are if the first sample has no usable time.
void timePositions(QList<GPSInfo> &samples);
/// Sets elapse of each sample whose timestamp can be read.
void timeAccelerations(QList<GSensorInfo> &samples);

/// Moves samples to whole seconds of playback, stretching the recorded span onto the duration; the first
/// sample of a second wins. Without a span the first sample stands for every second, each with a jitter of
/// its own.
[[nodiscard]] QList<GPSInfo> atWholeSeconds(const QList<GPSInfo> &samples, double duration,
                                            const std::function<double()> &jitterDegrees);
/// Ten samples a second of playback. Without a span the samples stay as they are.
[[nodiscard]] QList<GSensorInfo> atTenths(const QList<GSensorInfo> &samples, double duration);

/// The last sample not later than the time, null if there is none.
template <typename Sample> [[nodiscard]] const Sample *sampleAt(const QList<Sample> &samples, double seconds)
{
    // Written out, since it decides also on lists that a sample without time has put out of order.
    const Sample *best = nullptr;
    qsizetype low = 0;
    qsizetype high = samples.size() - 1;
    while (low <= high) {
        const qsizetype mid = (low + high) / 2;
        if (samples[mid].elapse.value_or(0) <= seconds) {
            best = &samples[mid];
            low = mid + 1;
        } else {
            high = mid - 1;
        }
    }
    return best;
}

} // namespace resampling
