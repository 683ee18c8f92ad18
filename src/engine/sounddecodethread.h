#pragma once

#include "soundqueue.h"
#include "trackreader.h"

#include <functional>
#include <QAudioFormat>
#include <thread>

/// Decodes a sound track in a thread of its own and converts it to the device's format, half a second ahead.
/// All public functions belong to the main thread.
class SoundDecodeThread
{
public:
    /// notify is called in the decode thread once enough of what a seek asked for is there.
    SoundDecodeThread(std::shared_ptr<TrackReader> reader, std::shared_ptr<AVCodecContext> decoder,
                      const QAudioFormat &format, std::shared_ptr<SoundQueue> queue,
                      std::function<void()> notify);
    ~SoundDecodeThread();
    Q_DISABLE_COPY_MOVE(SoundDecodeThread)

    void seek(Nanoseconds target, quint64 serial);
    [[nodiscard]] quint64 readySerial() const { return m_readySerial; }
    /// Of the data, if the thread has come to it since that seek.
    [[nodiscard]] std::optional<Nanoseconds> dataEnd(quint64 serial) const;
    /// There may be room in the queue again.
    void wake() { m_changed.notify_one(); }

private:
    void run();
    void begin(Nanoseconds target);
    void decodeSome();
    void convert(const AVFrame &decoded);
    bool prepareResampler(const AVFrame &decoded);
    void setReady(quint64 serial, std::optional<Nanoseconds> end);

    std::shared_ptr<TrackReader> m_reader;
    std::shared_ptr<AVCodecContext> m_decoder;
    QAudioFormat m_format;
    std::shared_ptr<SoundQueue> m_queue;
    std::function<void()> m_notify;

    // The decode thread's own
    PacketPtr m_packet;
    FramePtr m_decoded;
    ResamplerPtr m_resampler;
    int m_resampledRate = 0;
    int m_resampledFormat = AV_SAMPLE_FMT_NONE;
    int m_resampledChannels = 0;
    quint64 m_serving = 0;
    Nanoseconds m_target{0};
    Nanoseconds m_decodedUntil{0};
    bool m_isDraining = false;
    bool m_isAtEnd = false;

    std::atomic<quint64> m_readySerial = 0;
    mutable std::mutex m_mutex; // around all that follows
    std::condition_variable m_changed;
    Nanoseconds m_wantedTarget{0};
    quint64 m_wantedSerial = 0;
    bool m_isStopping = false;
    std::optional<Nanoseconds> m_dataEnd;
    std::thread m_thread;
};
