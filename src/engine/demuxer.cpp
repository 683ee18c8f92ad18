#include "demuxer.h"

#include "common/recordingformats.h"

#include <algorithm>

namespace {

constexpr int ioBufferSize = 32 * 1024;
constexpr auto openingTime = std::chrono::seconds(20);

int refuseNestedInput(AVFormatContext *, AVIOContext **, const char *, int, AVDictionary **)
{
    return AVERROR(EPERM);
}

/// MP4 tells all in its header; other formats only in the data.
bool isHeaderEnough(const AVFormatContext &format)
{
    return std::all_of(format.streams, format.streams + format.nb_streams, [](const AVStream *stream) {
        const AVCodecParameters &codec = *stream->codecpar;
        if (codec.codec_type == AVMEDIA_TYPE_VIDEO)
            return codec.width > 0 && codec.height > 0;
        return codec.codec_type != AVMEDIA_TYPE_AUDIO || codec.sample_rate > 0;
    });
}

} // namespace

std::unique_ptr<Demuxer> Demuxer::open(std::shared_ptr<const MovieSource> source, MovieError *error)
{
    std::unique_ptr<Demuxer> demuxer(new Demuxer(std::move(source)));
    const int result = demuxer->openFormat();
    if (result >= 0)
        return demuxer;
    *error = MovieError::ofLibav(result);
    return nullptr;
}

Demuxer::~Demuxer() = default;

int Demuxer::openFormat()
{
    m_deadline = std::chrono::steady_clock::now() + openingTime;
    auto *buffer = static_cast<uchar *>(av_malloc(ioBufferSize));
    m_io.reset(avio_alloc_context(buffer, ioBufferSize, 0, this, readCallback, nullptr, seekCallback));
    AVFormatContext *format = avformat_alloc_context();
    if (!m_io || !format)
        return AVERROR(ENOMEM);
    format->pb = m_io.get();
    format->io_open = refuseNestedInput;
    format->interrupt_callback = {
        [](void *self) { return static_cast<Demuxer *>(self)->mustGiveUp() ? 1 : 0; }, this};
    format->probesize = 4 << 20;
    format->max_analyze_duration = int64_t{2} * AV_TIME_BASE;
    format->max_streams = 64;
    format->format_whitelist = av_strdup(recordingFormats);
    const int opened = avformat_open_input(&format, nullptr, nullptr, nullptr); // frees it on failure
    if (opened < 0)
        return opened;
    m_format.reset(format);
    if (!isHeaderEnough(*format))
        avformat_find_stream_info(format, nullptr); // what it doesn't find is missed when a track is opened
    return 0;
}

void Demuxer::setDeadline(std::optional<TimePoint> deadline)
{
    m_deadline = deadline;
    if (deadline)
        return;
    m_io->error = 0;
    m_io->eof_reached = 0;
}

bool Demuxer::mustGiveUp() const
{
    return m_isCancelled || (m_deadline && std::chrono::steady_clock::now() > *m_deadline);
}

int Demuxer::readCallback(void *opaque, uint8_t *target, int size)
{
    auto *self = static_cast<Demuxer *>(opaque);
    if (self->mustGiveUp())
        return AVERROR_EXIT;
    const qint64 count = self->m_source->read(self->m_offset, target, size);
    if (count == 0)
        return AVERROR_EOF;
    if (count > 0)
        self->m_offset += count;
    return static_cast<int>(count);
}

int64_t Demuxer::seekCallback(void *opaque, int64_t offset, int whence)
{
    auto *self = static_cast<Demuxer *>(opaque);
    switch (whence & ~AVSEEK_FORCE) {
    case AVSEEK_SIZE: return self->m_source->size();
    case SEEK_CUR: offset += self->m_offset; break;
    case SEEK_END: offset += self->m_source->size(); break;
    default: break;
    }
    if (offset < 0)
        return AVERROR(EINVAL);
    self->m_offset = offset;
    return offset;
}
