#pragma once

#include "nanoseconds.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <QByteArray>

/// Samples in the device's format on their way from the decode thread to the sound device, each with its time
/// on the track. Bounded by its writer, who asks for hasRoom(). Any thread.
class SoundQueue
{
public:
    static constexpr Nanoseconds depth = std::chrono::milliseconds(500);

    /// bytesPerFrame: one sample of each channel.
    SoundQueue(int sampleRate, int bytesPerFrame)
        : m_sampleRate(sampleRate)
        , m_bytesPerFrame(bytesPerFrame)
    {
    }

    [[nodiscard]] int bytesPerFrame() const { return m_bytesPerFrame; }
    [[nodiscard]] Nanoseconds durationOf(qint64 bytes) const;
    [[nodiscard]] qint64 bytesFor(Nanoseconds duration) const; ///< whole frames

    void append(Nanoseconds time, const QByteArray &samples);
    void clear();
    [[nodiscard]] Nanoseconds filled() const;
    /// The time of the first sample.
    [[nodiscard]] std::optional<Nanoseconds> firstTime() const;
    void dropBefore(Nanoseconds time);
    /// The bytes read, as many as there are up to size.
    qint64 read(char *target, qint64 size);

    /// How far the sound that is heard is ahead of the clock: the writer stretches by it.
    void setLead(Nanoseconds lead) { m_lead = lead.count(); }
    [[nodiscard]] Nanoseconds lead() const { return Nanoseconds(m_lead); }

private:
    struct Chunk {
        Nanoseconds time;
        QByteArray samples;
    };
    void advance(qint64 bytes);

    const int m_sampleRate;
    const int m_bytesPerFrame;
    std::atomic<Nanoseconds::rep> m_lead = 0;
    mutable std::mutex m_mutex; // around all that follows
    std::deque<Chunk> m_chunks;
    qint64 m_consumed = 0; // bytes of the first chunk
    qint64 m_bytes = 0;
};
