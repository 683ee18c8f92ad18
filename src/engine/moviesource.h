#pragma once

#include "movieerror.h"

#include <memory>

/// An opened file that any number of demuxers read, each at its own place. It stays readable when its name is
/// given to another file or to none. Any thread.
class MovieSource
{
public:
    /// Regular files only; without a result, error tells why.
    static std::shared_ptr<const MovieSource> open(const QString &path, MovieError *error);
    ~MovieSource();
    Q_DISABLE_COPY_MOVE(MovieSource)

    [[nodiscard]] qint64 size() const { return m_size; } ///< bytes, at the time of opening
    /// The bytes read, 0 at the end, or a negative errno.
    [[nodiscard]] qint64 read(qint64 offset, uchar *target, qint64 size) const;

private:
    MovieSource(int descriptor, qint64 size)
        : m_descriptor(descriptor)
        , m_size(size)
    {
    }

    int m_descriptor;
    qint64 m_size;
};
