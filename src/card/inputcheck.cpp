#include "inputcheck.h"

#include "common/avhandles.h"
#include "files.h"

#include <QFile>
#include <unistd.h>

extern "C" {
#include <libavutil/avstring.h>
}

namespace {

constexpr int ioBufferSize = 32 * 1024;

struct IoDelete {
    void operator()(AVIOContext *io) const noexcept
    {
        av_freep(static_cast<void *>(&io->buffer));
        avio_context_free(&io);
    }
};

int readFrom(void *opaque, uint8_t *target, int size)
{
    const auto *file = static_cast<const FileDescriptor *>(opaque);
    const ssize_t count = ::read(file->get(), target, static_cast<size_t>(size));
    if (count < 0)
        return AVERROR(errno);
    return count == 0 ? AVERROR_EOF : static_cast<int>(count);
}

} // namespace

QString reasonAgainstInput(const QString &path, const char *formats)
{
    files::OpenedFile opened = files::openRegular(path);
    if (opened.file.get() < 0)
        return opened.error;
    auto *buffer = static_cast<unsigned char *>(av_malloc(ioBufferSize));
    const std::unique_ptr<AVIOContext, IoDelete> io(
        avio_alloc_context(buffer, ioBufferSize, 0, &opened.file, readFrom, nullptr, nullptr));
    if (!io)
        return avErrorText(AVERROR(ENOMEM));
    av_log_set_level(AV_LOG_FATAL); // it would tell the terminal how sure it is
    const AVInputFormat *format = nullptr;
    av_probe_input_buffer2(io.get(), &format, QFile::encodeName(path).constData(), nullptr, 0, 0);
    if (!format || av_match_list(format->name, formats, ',') > 0)
        return {};
    return QStringLiteral("not a recording, but ") + QString::fromUtf8(format->name);
}
