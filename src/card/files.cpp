#include "files.h"

#include "common/filedescriptor.h"
#include "common/text.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <QFile>
#include <QFileInfo>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr qint64 largestText = qint64{16} << 20;

std::filesystem::path nativePath(QString path)
{
    while (path.size() > 1 && path.endsWith(u'/')) // a trailing "/" would follow a link
        path.chop(1);
    return QFile::encodeName(path).toStdString();
}

QString described(const std::error_code &error)
{
    return error ? QString::fromStdString(error.message()) : QString();
}

QString lastError() { return qt_error_string(errno); }

/// Makes way for a file that comes from elsewhere.
QString clearTarget(const QString &from, const QString &to)
{
    std::error_code error;
    if (std::filesystem::equivalent(nativePath(from), nativePath(to), error))
        return QStringLiteral("source and target are the same file");
    error.clear();
    std::filesystem::remove(nativePath(to), error);
    return described(error);
}

QString writeWhole(int fd, QByteArrayView bytes)
{
    while (!bytes.isEmpty()) {
        const ssize_t count = ::write(fd, bytes.data(), static_cast<size_t>(bytes.size()));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return lastError();
        bytes = bytes.sliced(count);
    }
    return ::fsync(fd) == 0 ? QString() : lastError();
}

QString writeNewFile(const QByteArray &name, QByteArrayView bytes)
{
    ::unlink(name.constData()); // left behind by a loss of power
    const FileDescriptor file(
        ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    return file.get() < 0 ? lastError() : writeWhole(file.get(), bytes);
}

/// With the permissions of the source.
QString copyToNewFile(int from, const QByteArray &name)
{
    constexpr size_t most = 1 << 30;
    struct stat status {
    };
    ::unlink(name.constData()); // left behind by a loss of power
    const FileDescriptor file(
        ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (file.get() < 0)
        return lastError();
    ssize_t count = 1;
    while (count > 0 || (count < 0 && errno == EINTR))
        count = ::sendfile(file.get(), from, nullptr, most);
    if (count < 0 || ::fstat(from, &status) != 0 || ::fchmod(file.get(), status.st_mode & 0777) != 0)
        return lastError();
    return {};
}

/// Brings a renamed entry to the disk. Some file systems can't do it for a folder; there it stays undone.
void syncFolder(const QByteArray &name)
{
    const FileDescriptor folder(::open(name.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.get() >= 0)
        ::fsync(folder.get());
}

} // namespace

quint64 files::size(const QString &path)
{
    struct stat status {
    };
    if (::lstat(QFile::encodeName(path).constData(), &status) != 0)
        return 0;
    return static_cast<quint64>(status.st_size);
}

files::OpenedFile files::openRegular(const QString &path)
{
    struct stat status {
    };
    FileDescriptor file(
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0)
        return {FileDescriptor(), lastError()};
    if (!S_ISREG(status.st_mode))
        return {FileDescriptor(), QStringLiteral("not a regular file")};
    return {std::move(file), {}};
}

files::MadeFolder files::makeFolder(const QString &path)
{
    std::error_code error;
    if (std::filesystem::exists(nativePath(path), error))
        return {};
    error.clear();
    const bool isNew = std::filesystem::create_directories(nativePath(path), error);
    return {isNew, described(error)};
}

QString files::removeAll(const QString &path)
{
    std::error_code error;
    std::filesystem::remove_all(nativePath(path), error);
    if (error == std::errc::not_a_directory) // a file where the path has a folder: nothing is there either
        return {};
    return described(error);
}

QString files::replaceByCopy(const QString &from, const QString &to)
{
    if (const QString error = clearTarget(from, to); !error.isEmpty())
        return error;
    const OpenedFile source = openRegular(from);
    if (source.file.get() < 0)
        return source.error;
    const QFileInfo target(to);
    const QByteArray copy =
        QFile::encodeName(target.path() + QStringLiteral("/.") + target.fileName() + QStringLiteral(".part"));
    QString error = copyToNewFile(source.file.get(), copy);
    if (error.isEmpty() && ::rename(copy.constData(), QFile::encodeName(to).constData()) != 0)
        error = lastError();
    if (!error.isEmpty())
        ::unlink(copy.constData());
    return error;
}

QString files::replaceByMove(const QString &from, const QString &to)
{
    if (const QString error = clearTarget(from, to); !error.isEmpty())
        return error;
    QFile source(from);
    return source.rename(to) ? QString() : source.errorString();
}

files::ReadText files::readText(const QString &path)
{
    const OpenedFile opened = openRegular(path);
    QFile file;
    if (opened.file.get() < 0 || !file.open(opened.file.get(), QIODevice::ReadOnly))
        return {std::nullopt, opened.error};
    const QByteArray bytes = file.read(largestText + 1);
    if (file.error() != QFileDevice::NoError)
        return {std::nullopt, file.errorString()};
    if (bytes.size() > largestText)
        return {std::nullopt, QStringLiteral("the file is too large for a text")};
    const auto text = text::decodeUtf8Strictly(bytes);
    if (!text)
        return {std::nullopt, QStringLiteral("the file isn't well-formed UTF-8")};
    return {text::withoutByteOrderMark(*text), {}};
}

QString files::saveText(const QString &path, const QString &text)
{
    const QFileInfo target(path);
    const QByteArray folder = QFile::encodeName(target.path());
    const QByteArray temporary = folder + "/." + QFile::encodeName(target.fileName()) + ".new";
    QString error = writeNewFile(temporary, text.toUtf8());
    if (error.isEmpty() && ::rename(temporary.constData(), QFile::encodeName(path).constData()) != 0)
        error = lastError();
    if (!error.isEmpty()) {
        ::unlink(temporary.constData());
        return error;
    }
    syncFolder(folder);
    return {};
}
