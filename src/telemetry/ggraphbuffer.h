#pragma once

#include <QList>
#include <QObject>
#include <qqmlregistration.h>

/// The reading of one accelerometer axis at a moment of playback.
struct GSample {
    double time = 0; ///< seconds, on a grid of 0.1 s
    qint64 value = 0; ///< raw
    bool operator==(const GSample &) const = default;
};

/// What the graph of one axis shows, in ascending time. Main thread.
class GGraphBuffer : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by GSensorGraph")
public:
    using QObject::QObject;
    [[nodiscard]] const QList<GSample> &samples() const { return m_samples; }
    void append(const GSample &sample);
    void replace(QList<GSample> samples);
    /// Keeps the samples that aren't later than the time.
    void truncateAfter(double time);

Q_SIGNALS:
    void samplesChanged();

private:
    QList<GSample> m_samples;
};
