#pragma once

#include "mediadata.h"

#include <functional>
#include <QList>

/// How telemetry gets onto the recording's time axis. Pure functions, for any thread; a time that is missing
/// counts as 0.
namespace resampling {

/// Longest recording that is resampled, in seconds: a damaged file may claim any length.
inline constexpr double longestDuration = 24 * 60 * 60;

/// Seconds since the first sample, by the samples' own clock; none where there is no usable time.
using Times = QList<std::optional<double>>;

/// A sample, by its index, and its time of playback in seconds.
struct Placed {
    qsizetype sample = 0;
    double seconds = 0;
    bool operator==(const Placed &) const = default;
};

/// Moves samples to whole seconds of playback, stretching the recorded span onto the duration; the first
/// sample of a second wins. Without a span the first sample stands for every second.
[[nodiscard]] QList<Placed> atWholeSeconds(const Times &times, double duration);
/// Ten samples a second of playback. None without a span: then the samples stay as they are.
[[nodiscard]] std::optional<QList<Placed>> atTenths(const Times &times, double duration);

/// A recording's telemetry as it was found and on the axis of playback.
struct Telemetry {
    MediaRecords records;
    QList<GPSInfo> positions; ///< at whole seconds, timed and decoded
    QList<GSensorInfo> accelerations; ///< at tenths of a second, or at the recorded times without positions
    double duration = 0;
};
/// Without a span of time the car stands, and each second's position gets two jitters of its own. If the
/// first sentence has no usable time, none is timed or decoded.
[[nodiscard]] Telemetry resampled(MediaRecords records, double duration,
                                  const std::function<double()> &jitterDegrees);

/// The index of the last sample not later than the time, -1 if there is none. Written out, since it decides
/// also on lists that a sample without time has put out of order.
template <typename TimeAt>
[[nodiscard]] qsizetype indexAt(qsizetype count, const TimeAt &timeAt, double seconds)
{
    qsizetype best = -1;
    qsizetype low = 0;
    qsizetype high = count - 1;
    while (low <= high) {
        const qsizetype mid = (low + high) / 2;
        if (timeAt(mid) <= seconds) {
            best = mid;
            low = mid + 1;
        } else {
            high = mid - 1;
        }
    }
    return best;
}

/// The last sample not later than the time, null if there is none.
template <typename Sample> [[nodiscard]] const Sample *sampleAt(const QList<Sample> &samples, double seconds)
{
    const auto timeAt = [&samples](qsizetype index) { return samples[index].elapse.value_or(0); };
    const qsizetype index = indexAt(samples.size(), timeAt, seconds);
    return index < 0 ? nullptr : &samples[index];
}

} // namespace resampling
