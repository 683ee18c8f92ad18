#pragma once

#include "frameconverter.h"
#include "trackreader.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

/// Decodes one video track in a thread of its own, a few frames ahead of what is shown. Only the newest seek
/// counts: an older one is given up between two packets. All public functions belong to the main thread.
class VideoDecodeThread
{
public:
    struct State {
        quint64 readySerial = 0; ///< the seek whose picture is there, or never will be
        bool isReady = false;
        std::optional<Nanoseconds> end; ///< of the data, once it has been reached
    };

    /// notify is called in the decode thread when the state changes or a frame comes where none was waiting.
    VideoDecodeThread(std::shared_ptr<TrackReader> reader, std::shared_ptr<AVCodecContext> decoder,
                      std::function<void()> notify);
    ~VideoDecodeThread(); ///< waits for the packet that is being decoded
    Q_DISABLE_COPY_MOVE(VideoDecodeThread)

    void seek(Nanoseconds target, quint64 serial);
    /// After a seek only the picture asked for is decoded, so that channels which are still on their way get
    /// the processor, until this is called.
    void runAhead();
    /// As many frames wait as ever will at this position. If not, notify is called once they do.
    [[nodiscard]] bool isSupplied();
    /// The newest frame that is due, those before it dropped; none if there is nothing new.
    VideoFramePtr takeDue(Nanoseconds position);
    [[nodiscard]] std::optional<Nanoseconds> nextFrameTime() const;
    [[nodiscard]] State state() const;

private:
    struct Frame {
        Nanoseconds time;
        Nanoseconds end;
        VideoFramePtr picture;
    };
    struct Candidate {
        FramePtr picture;
        Nanoseconds time;
        Nanoseconds end;
    };
    static constexpr size_t framesToStart = 4;
    static constexpr size_t framesAhead = 8; // of pictures up to 1080p: see hasRoom()

    void run();
    [[nodiscard]] bool hasRoom() const;
    void begin(Nanoseconds target, quint64 serial);
    bool reuseFrames(Nanoseconds target, quint64 serial);
    void decodeSome();
    void feedDecoder();
    void keepUp(const AVPacket &packet);
    void takeDecoded(FramePtr decoded);
    void push(const Candidate &decoded);
    void finish();

    std::shared_ptr<TrackReader> m_reader;
    std::shared_ptr<AVCodecContext> m_decoder;
    std::function<void()> m_notify;

    // The decode thread's own
    FrameConverter m_converter;
    int m_rotation = 0;
    PacketPtr m_packet;
    FramePtr m_decoded;
    quint64 m_serving = 0;
    Nanoseconds m_target{0};
    Candidate m_candidate{}; // the last picture before the target
    bool m_isSeeking = true; // towards m_target
    Nanoseconds m_decodedUntil{-1};
    bool m_isDraining = false;

    mutable std::mutex m_mutex; // around all that follows
    std::condition_variable m_changed;
    std::deque<Frame> m_frames;
    Nanoseconds m_wantedTarget{0};
    quint64 m_wantedSerial = 0;
    bool m_mayRunAhead = false;
    bool m_isFirstFrame = true; // of its serial: shown whatever its time is
    bool m_isAtEnd = false;
    bool m_mustTellSupply = false;
    bool m_isStopping = false;
    State m_state;
    std::atomic<Nanoseconds::rep> m_position = 0; // what is shown now
    std::thread m_thread;
};
