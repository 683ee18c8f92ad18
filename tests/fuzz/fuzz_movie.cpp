#include "engine/decoder.h"
#include "engine/sounddecodethread.h"
#include "engine/videodecodethread.h"

#include <cstdint>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

extern "C" {
#include <libavutil/log.h>
}

namespace {

constexpr int mostTracks = 4;

/// What a decode thread notifies, and what waits for it.
class Bell
{
public:
    [[nodiscard]] std::function<void()> ringer()
    {
        return [this] {
            const std::scoped_lock lock(m_mutex);
            m_changed.notify_all();
        };
    }
    template <typename Thread> void waitFor(const Thread &thread)
    {
        std::unique_lock lock(m_mutex);
        while (!thread.state().isReady)
            m_changed.wait_for(lock, std::chrono::milliseconds(1)); // the state has a lock of its own
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
};

/// Each plane is there to its last byte.
void check(const VideoFrame &picture)
{
    for (const PicturePlane &plane : picture.planes) {
        const auto lastRow = static_cast<std::ptrdiff_t>(plane.size.height() - 1) * plane.stride;
        if (plane.data != nullptr && (plane.size.isEmpty() || plane.stride < plane.size.width()))
            std::abort();
        if (plane.data != nullptr)
            static_cast<void>(
                *static_cast<const volatile uchar *>(plane.data + lastRow + plane.size.width() - 1));
    }
}

void playPictures(const std::shared_ptr<TrackReader> &reader, std::shared_ptr<AVCodecContext> decoder)
{
    Bell bell;
    VideoDecodeThread thread(reader, std::move(decoder), bell.ringer());
    quint64 serial = 0;
    for (const Nanoseconds target : {Nanoseconds(0), reader->duration() / 2, reader->duration() * 2}) {
        thread.seek(target, ++serial);
        bell.waitFor(thread);
        if (const VideoFramePtr picture = thread.takeDue(target))
            check(*picture);
    }
}

void playSound(const std::shared_ptr<TrackReader> &reader, std::shared_ptr<AVCodecContext> decoder)
{
    QAudioFormat format;
    format.setSampleRate(48000);
    format.setChannelCount(2);
    format.setSampleFormat(QAudioFormat::Float);
    Bell bell;
    const auto queue = std::make_shared<SoundQueue>(format.sampleRate(), format.bytesPerFrame());
    SoundDecodeThread thread(reader, std::move(decoder), format, queue, bell.ringer());
    for (const Nanoseconds target : {Nanoseconds(0), reader->duration() / 2}) {
        thread.seek(target);
        bell.waitFor(thread);
    }
}

} // namespace

/// Any bytes either are no movie or play: a picture or a sound from the beginning, from the middle and from
/// behind the end, by the threads that the player has.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    static const int file = memfd_create("movie", MFD_CLOEXEC);
    static const QString path = QStringLiteral("/proc/self/fd/%1").arg(file);
    if (file < 0 || ftruncate(file, 0) != 0 || pwrite(file, bytes, size, 0) != static_cast<ssize_t>(size))
        std::abort();
    av_log_set_level(AV_LOG_QUIET);

    MovieError error;
    const auto source = MovieSource::open(path, &error);
    const std::unique_ptr<Demuxer> head = Demuxer::open(source, &error);
    if (!head) {
        if (error.kind == MovieError::Kind::None)
            std::abort();
        return 0;
    }
    const int count = std::min(static_cast<int>(head->format()->nb_streams), mostTracks);
    for (int i = 0; i < count; ++i) {
        const std::optional<TrackInfo> track = trackInfoOf(*head->format(), i);
        const std::shared_ptr<TrackReader> reader = track ? TrackReader::open(source, i, &error) : nullptr;
        const std::shared_ptr<AVCodecContext> decoder = reader ? openDecoder(*reader, &error) : nullptr;
        if (decoder && track->kind == TrackKind::Video)
            playPictures(reader, decoder);
        else if (decoder)
            playSound(reader, decoder);
    }
    return 0;
}
