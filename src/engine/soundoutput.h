#pragma once

#include "soundqueue.h"

#include <functional>
#include <QAudioDevice>
#include <QAudioFormat>
#include <QAudioSink>
#include <QIODevice>
#include <QTimer>

/// Plays a sound queue on the default device, following a clock that it is told. Lives on a thread of its own
/// kind, since the device asks for samples by the event loop, which mustn't wait for the window. A device
/// that fails, vanishes or stands still is let go, and tried again at the next start.
class SoundOutput final : public QObject
{
    Q_OBJECT
public:
    enum class Clock { Running, Held };

    /// Made from the main thread; opened() tells the format to be delivered, on the main thread.
    static SoundOutput *create(QObject *context, std::function<void(QAudioFormat)> opened);
    /// Ends the sound and the object. Main thread; the pointer is no longer to be used.
    void dispose();

    ~SoundOutput() override;
    Q_DISABLE_COPY_MOVE(SoundOutput)

    // Main thread; carried out a little later
    void setQueue(std::shared_ptr<SoundQueue> queue);
    /// With the clock held, the sound begins at position whenever the device gets going, and the clock waits
    /// there for begun() and the first follow().
    void start(Nanoseconds position, Clock clock, quint64 number);
    void stop(); ///< silent at once
    void setVolume(float level);
    /// Where the clock is just now, while started.
    void follow(Nanoseconds position);

Q_SIGNALS:
    /// The device plays what the start of that number asked for, or it failed. From the sound thread.
    void begun(quint64 number);

private:
    class Feed;
    SoundOutput();
    void open();
    void startSink();
    void openSink(const QAudioDevice &device);
    void lookForBegin();
    void tellBegun();
    void closeSink();
    void watch();
    qint64 fill(char *target, qint64 size);
    void align(qint64 *done, char *target, qint64 size);
    [[nodiscard]] Nanoseconds clockPosition() const;
    [[nodiscard]] Nanoseconds waiting() const;

    // The clock. Any thread.
    std::atomic<Nanoseconds::rep> m_clockOffset = 0; // position minus the host's time
    std::atomic<Nanoseconds::rep> m_heldAt = 0; // position
    std::atomic<bool> m_isClockHeld = false;

    // The sound thread's own
    std::shared_ptr<SoundQueue> m_queue;
    QAudioFormat m_format;
    std::unique_ptr<Feed> m_feed;
    std::unique_ptr<QAudioSink> m_sink;
    QTimer m_watch;
    QTimer m_beginWatch;
    quint64 m_startNumber = 0;
    bool m_hasBegun = true;
    float m_volume = 1;
    bool m_isStarted = false;
    bool m_mustAlign = true;
    qint64 m_delivered = 0; // bytes since the sink's start
    std::optional<Nanoseconds> m_nextTime; // of the next sample to be delivered
    double m_meanLead = 0; // seconds
    int m_leadCount = 0;
    qint64 m_lastProcessed = -1; // microseconds
    int m_standstill = 0; // watches without progress
};
