#pragma once

#include "resampling.h"

#include <functional>
#include <optional>
#include <QList>
#include <QObject>

/// The telemetry of the selected recording on the recording's own time axis: positions at whole seconds,
/// accelerometer samples ten a second. Lives on the main thread; files are read and resampled on a worker.
class MediaDataViewModel : public QObject
{
    Q_OBJECT
    /// A stamp in seconds, another at each reset and load, so that views can tell that the data changed.
    Q_PROPERTY(double id READ id NOTIFY idChanged FINAL)
public:
    /// What the model takes from outside; tests bring their own.
    struct Sources {
        std::function<double()> monotonicSeconds;
        std::function<double()> jitterDegrees; ///< uniform between -0.000002 and 0.000002; any thread
    };
    explicit MediaDataViewModel(QObject *parent = nullptr);
    MediaDataViewModel(Sources sources, QObject *parent);

    [[nodiscard]] double id() const { return m_id; }
    [[nodiscard]] const MediaRecords &events() const { return m_telemetry.records; } ///< as decoded
    [[nodiscard]] const std::optional<VideoInfo> &videoInfo() const { return m_videoInfo; }
    [[nodiscard]] const QList<GPSInfo> &gpsEvents() const { return m_telemetry.positions; }
    [[nodiscard]] const QList<GSensorInfo> &gSensorEvents() const { return m_telemetry.accelerations; }

    /// Empties all but events(). A file that is being read is forgotten.
    void reset();
    /// Resets, and loads what a recording's file holds when that has been read. What comes after the next
    /// reset or load is dropped. The log tells why if nothing can be loaded.
    void loadFile(const QString &path, double duration);
    void load(MediaRecords records, double duration);
    /// Takes the records' JSON text and the recording's playing time in seconds. Gives the empty text, or why
    /// nothing was changed.
    [[nodiscard]] QString load(const QString &json, double duration);

    /// The last sample not later than the time in seconds; null before the first one. Valid until the next
    /// change.
    [[nodiscard]] const GPSInfo *gpsSample(double seconds) const;
    [[nodiscard]] const GSensorInfo *gSensorSample(double seconds) const;

    /// Whole km/h, truncated; 0 without a record for the time.
    Q_INVOKABLE [[nodiscard]] int speedKmh(double seconds) const;

    [[nodiscard]] QString locationText() const; ///< contents of "location.txt"
    [[nodiscard]] QString gSensorText() const; ///< contents of "gsensor.txt"

Q_SIGNALS:
    void idChanged();
    void eventsChanged();

private:
    void renewId();
    void publish(resampling::Telemetry telemetry);

    Sources m_sources;
    double m_id = 0;
    quint64 m_request = 0; ///< the newest reset or load
    resampling::Telemetry m_telemetry;
    std::optional<VideoInfo> m_videoInfo;
};
