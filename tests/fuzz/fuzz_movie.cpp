#include "engine/demuxer.h"

#include <cstdint>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

/// Any bytes either are no movie or give packets that lie inside it, before and after a jump.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    constexpr int mostPackets = 500;
    static const int file = memfd_create("movie", MFD_CLOEXEC);
    static const QString path = QStringLiteral("/proc/self/fd/%1").arg(file);
    if (file < 0 || ftruncate(file, 0) != 0 || pwrite(file, bytes, size, 0) != static_cast<ssize_t>(size))
        std::abort();
    av_log_set_level(AV_LOG_QUIET);

    QString error;
    const std::unique_ptr<Demuxer> demuxer = Demuxer::open(MovieSource::open(path, &error), &error);
    if (!demuxer) {
        if (error.isEmpty())
            std::abort();
        return 0;
    }
    const PacketPtr packet(av_packet_alloc());
    for (const int64_t jumpTo : {int64_t{0}, INT64_MAX / 2, int64_t{-1}}) {
        for (int i = 0; i < mostPackets && av_read_frame(demuxer->format(), packet.get()) >= 0; i++) {
            if (packet->stream_index < 0
                || packet->stream_index >= static_cast<int>(demuxer->format()->nb_streams))
                std::abort();
            av_packet_unref(packet.get());
        }
        av_seek_frame(demuxer->format(), -1, jumpTo, AVSEEK_FLAG_BACKWARD);
    }
    return 0;
}
