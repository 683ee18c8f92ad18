#pragma once

#include "common/avhandles.h"
#include "moviesource.h"

#include <atomic>
#include <chrono>
#include <optional>

/// A libavformat context on a movie source. One thread at a time, except cancel().
class Demuxer
{
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// Reads the headers, for a bounded time, which goes on to count for what is read until setDeadline().
    /// Without a result, error tells why.
    static std::unique_ptr<Demuxer> open(std::shared_ptr<const MovieSource> source, MovieError *error);
    ~Demuxer();
    Q_DISABLE_COPY_MOVE(Demuxer)

    [[nodiscard]] AVFormatContext *format() const { return m_format.get(); }
    [[nodiscard]] qint64 fileSize() const { return m_source->size(); }
    /// Reads fail from then on; none: they never do for their time, and earlier failures are forgotten.
    void setDeadline(std::optional<TimePoint> deadline);
    /// Reads fail from now on. Any thread.
    void cancel() { m_isCancelled = true; }

private:
    struct IoDelete {
        void operator()(AVIOContext *io) const noexcept
        {
            av_freep(static_cast<void *>(&io->buffer));
            avio_context_free(&io);
        }
    };

    explicit Demuxer(std::shared_ptr<const MovieSource> source)
        : m_source(std::move(source))
    {
    }
    int openFormat();
    [[nodiscard]] bool mustGiveUp() const;
    static int readCallback(void *opaque, uint8_t *target, int size);
    static int64_t seekCallback(void *opaque, int64_t offset, int whence);

    std::shared_ptr<const MovieSource> m_source;
    qint64 m_offset = 0;
    std::atomic<bool> m_isCancelled = false;
    std::optional<TimePoint> m_deadline;
    std::unique_ptr<AVIOContext, IoDelete> m_io;
    DemuxerPtr m_format; // goes before the input that it reads from
};
