#include "writing/outputfile.h"

#include "failure.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

extern "C" {
#include <libavformat/avio.h>
#include <libavutil/mem.h>
}

namespace {

constexpr std::size_t bufferSize = std::size_t{1} << 20;
constexpr int ioBufferSize = 1 << 16;
constexpr mode_t permissions = 0644;

/// The names that a signal handler removes; one file each for picture and sound.
std::array<std::atomic<const char *>, 4> unfinished{};

void remember(const char *name)
{
    for (std::atomic<const char *> &slot : unfinished) {
        const char *none = nullptr;
        if (slot.compare_exchange_strong(none, name))
            return;
    }
}

void forget(const char *name)
{
    for (std::atomic<const char *> &slot : unfinished) {
        const char *expected = name;
        slot.compare_exchange_strong(expected, nullptr);
    }
}

void removeAndEnd(int signal)
{
    for (const std::atomic<const char *> &slot : unfinished)
        if (const char *name = slot.load())
            unlink(name);
    raise(signal); // reset to its default by SA_RESETHAND
}

Failure targetFailure(const std::string &path, int error)
{
    return {ExitStatus::Target, "cannot write " + path + ": " + std::strerror(error)};
}

} // namespace

OutputFile::OutputFile(std::string path)
    : m_path(std::move(path))
    , m_temporaryPath(m_path + ".XXXXXX")
{
    struct stat status {
    };
    if (stat(m_path.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        throw Failure(ExitStatus::Target, "cannot write " + m_path + ": not a regular file");
    m_file = mkostemp(m_temporaryPath.data(), O_CLOEXEC);
    if (m_file < 0)
        throw targetFailure(m_path, errno);
    remember(m_temporaryPath.c_str());
    m_buffer.reserve(bufferSize);
    auto *ioBuffer = static_cast<unsigned char *>(av_malloc(ioBufferSize));
    m_io = avio_alloc_context(ioBuffer, ioBufferSize, 1, this, nullptr, writeBytes, seekTo);
    if (!m_io) {
        av_free(ioBuffer);
        throw std::bad_alloc();
    }
    m_io->direct = AVIO_FLAG_DIRECT; // the buffer is ours, so each byte is copied once
}

OutputFile::~OutputFile()
{
    av_freep(static_cast<void *>(&m_io->buffer));
    avio_context_free(&m_io);
    if (m_file >= 0)
        close(m_file);
    if (!m_temporaryPath.empty()) {
        unlink(m_temporaryPath.c_str());
        forget(m_temporaryPath.c_str());
    }
}

int OutputFile::writeBytes(void *self, std::uint8_t *bytes, int count)
{
    auto *file = static_cast<OutputFile *>(self);
    const std::uint8_t *end = bytes + count;
    for (const std::uint8_t *at = bytes; at != end;) {
        const auto piece = std::min(static_cast<std::size_t>(end - at), bufferSize - file->m_buffer.size());
        file->m_buffer.insert(file->m_buffer.end(), at, at + piece);
        at += piece;
        if (file->m_buffer.size() == bufferSize && !file->flush())
            return AVERROR(file->m_error);
    }
    return count;
}

std::int64_t OutputFile::seekTo(void *self, std::int64_t offset, int origin)
{
    auto *file = static_cast<OutputFile *>(self);
    if (!file->flush())
        return AVERROR(file->m_error);
    struct stat status {
    };
    if (origin == AVSEEK_SIZE)
        return fstat(file->m_file, &status) == 0 ? status.st_size : AVERROR(errno);
    if (origin == SEEK_CUR)
        offset += file->m_bufferStart;
    else if (origin != SEEK_SET)
        return AVERROR(EINVAL);
    file->m_bufferStart = offset;
    return offset;
}

bool OutputFile::flush()
{
    std::size_t written = 0;
    while (written < m_buffer.size() && m_error == 0) {
        const ssize_t count = pwrite(m_file, m_buffer.data() + written, m_buffer.size() - written,
                                     m_bufferStart + static_cast<std::int64_t>(written));
        if (count > 0)
            written += static_cast<std::size_t>(count);
        else if (count == 0 || errno != EINTR)
            m_error = count == 0 ? ENOSPC : errno;
    }
    m_bufferStart += static_cast<std::int64_t>(written);
    m_buffer.clear();
    return m_error == 0;
}

void OutputFile::finish()
{
    avio_flush(m_io);
    if (!flush() || fchmod(m_file, permissions) < 0 || fsync(m_file) < 0)
        throw targetFailure(m_path, m_error != 0 ? m_error : errno);
}

void OutputFile::publish()
{
    if (std::rename(m_temporaryPath.c_str(), m_path.c_str()) < 0)
        throw targetFailure(m_path, errno);
    forget(m_temporaryPath.c_str());
    m_temporaryPath.clear();
}

void removeUnfinishedFilesOnSignals()
{
    struct sigaction action {
    };
    action.sa_handler = removeAndEnd;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
        sigaction(signal, &action, nullptr);
}
