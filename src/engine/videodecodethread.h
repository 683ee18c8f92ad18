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
    /// Of the newest seek.
    struct State {
        bool isReady = false; ///< its picture is there, or never will be
        std::optional<Nanoseconds> end{}; ///< of the data, once it has been reached
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
    struct Decoded {
        FramePtr picture;
        Nanoseconds time{0};
        Nanoseconds end{0};
    };
    /// The newest seek, and what has become of it. The next one replaces it as a whole.
    struct Seek {
        quint64 serial = 0;
        Nanoseconds target{0};
        Nanoseconds position{0}; ///< what is shown now
        State state{};
        bool mayRunAhead = false;
        bool mustTellSupply = false;
        bool isFirstFrame = true; ///< shown whatever its time is
    };
    /// The seek that the decode thread works at. The next one replaces it as a whole.
    struct Task {
        quint64 serial = 0;
        Nanoseconds target{0};
        bool isSeeking = true; ///< the picture at the target hasn't come yet
        std::optional<Nanoseconds> caughtUpTo{}; ///< the key frame for which it last jumped, being late
    };
    /// The pictures since the reader's last jump. The next jump replaces it as a whole.
    struct Run {
        std::optional<Nanoseconds> decodedUntil{}; ///< or where it begins; none: not known
        Nanoseconds leftOutUntil = Nanoseconds::min(); ///< the end of the last packet that wasn't decoded
        bool mayLeaveOut = true;
        Decoded last{};
        bool isDraining = false;
        bool isAtEnd = false;
    };
    static constexpr size_t framesToStart = 4;
    static constexpr size_t framesAhead = 8; // of pictures up to 1080p: see hasRoom()

    void run();
    [[nodiscard]] bool hasRoom() const;
    void begin(Nanoseconds target, quint64 serial);
    void jumpTo(Nanoseconds target);
    [[nodiscard]] bool isOnTheWayTo(Nanoseconds target) const;
    bool reuseFrames(Nanoseconds target, quint64 serial);
    void decodeSome();
    void feedDecoder();
    [[nodiscard]] bool catchUp(const AVPacket &packet);
    void chooseWhatToLeaveOut(const AVPacket &packet);
    [[nodiscard]] std::optional<Nanoseconds> playingPosition() const;
    void takeDecoded(FramePtr decoded);
    [[nodiscard]] bool mayHaveLeftOutTheTarget() const;
    void lookAgain();
    void push(const Decoded &decoded);
    void finish();

    std::shared_ptr<TrackReader> m_reader;
    std::shared_ptr<AVCodecContext> m_decoder;
    std::function<void()> m_notify;

    // The decode thread's own
    FrameConverter m_converter;
    int m_rotation = 0;
    PacketPtr m_packet;
    FramePtr m_decoded;
    Task m_task;
    Run m_run;

    mutable std::mutex m_mutex; // around all that follows
    std::condition_variable m_changed;
    std::deque<Frame> m_frames;
    Seek m_seek;
    bool m_isStopping = false;
    std::thread m_thread;
};
