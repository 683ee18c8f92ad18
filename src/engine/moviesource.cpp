#include "moviesource.h"

#include <cerrno>
#include <fcntl.h>
#include <QFile>
#include <sys/stat.h>
#include <unistd.h>

std::shared_ptr<const MovieSource> MovieSource::open(const QString &path, MovieError *error)
{
    // Not blocking, since the name may be that of a pipe.
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        *error = {MovieError::Kind::Unreadable, qt_error_string(errno)};
        return nullptr;
    }
    struct stat status = {};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        *error = {MovieError::Kind::Unreadable, QStringLiteral("Not a regular file")};
        ::close(descriptor);
        return nullptr;
    }
    return std::shared_ptr<const MovieSource>(new MovieSource(descriptor, status.st_size));
}

MovieSource::~MovieSource() { ::close(m_descriptor); }

qint64 MovieSource::read(qint64 offset, uchar *target, qint64 size) const
{
    for (;;) {
        const ssize_t count = pread(m_descriptor, target, static_cast<size_t>(size), offset);
        if (count >= 0)
            return count;
        if (errno != EINTR)
            return -errno;
    }
}
