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
    /// Of the newest seek.
    struct State {
        bool isReady = false; ///< enough of what it asked for is there, or all that there is
        std::optional<Nanoseconds> end{}; ///< of the data, once it has been reached
    };

    /// notify is called in the decode thread when the state changes.
    SoundDecodeThread(std::shared_ptr<TrackReader> reader, std::shared_ptr<AVCodecContext> decoder,
                      const QAudioFormat &format, std::shared_ptr<SoundQueue> queue,
                      std::function<void()> notify);
    ~SoundDecodeThread();
    Q_DISABLE_COPY_MOVE(SoundDecodeThread)

    void seek(Nanoseconds target);
    [[nodiscard]] State state() const;

private:
    /// The newest seek, and what has become of it. The next one replaces it as a whole.
    struct Seek {
        quint64 number = 0; ///< none before the first one
        Nanoseconds target{0};
        State state{};
    };
    /// What is decoded for one seek. The next one replaces it as a whole.
    struct Run {
        quint64 number = 0;
        Nanoseconds target{0};
        Nanoseconds decodedUntil{0};
        bool isDraining = false;
        bool isAtEnd = false;
        ResamplerPtr resampler{};
        int resampledRate = 0;
        int resampledFormat = AV_SAMPLE_FMT_NONE;
        int resampledChannels = 0;
    };

    void run();
    void begin(Nanoseconds target, quint64 number);
    void decodeSome();
    void convert(const AVFrame &decoded);
    bool prepareResampler(const AVFrame &decoded);
    void setState(const State &state);

    std::shared_ptr<TrackReader> m_reader;
    std::shared_ptr<AVCodecContext> m_decoder;
    QAudioFormat m_format;
    std::shared_ptr<SoundQueue> m_queue;
    std::function<void()> m_notify;

    // The decode thread's own
    PacketPtr m_packet;
    FramePtr m_decoded;
    Run m_run;

    mutable std::mutex m_mutex; // around all that follows
    std::condition_variable m_changed;
    Seek m_seek;
    bool m_isStopping = false;
    std::thread m_thread;
};
