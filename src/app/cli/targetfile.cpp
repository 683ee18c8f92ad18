#include "targetfile.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <QCoreApplication>
#include <QFile>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString tr(const char *text) { return QCoreApplication::translate("TargetFile", text); }

Outcome existsAlready(const QString &path)
{
    return {ExitStatus::NotWritten,
            tr("%1: 이미 있는 파일입니다. 덮어쓰려면 --force를 지정하십시오.").arg(path)};
}

bool isSameFile(const QString &a, const QString &b)
{
    struct stat first;
    struct stat second;
    return ::stat(QFile::encodeName(a).constData(), &first) == 0
        && ::stat(QFile::encodeName(b).constData(), &second) == 0 && first.st_dev == second.st_dev
        && first.st_ino == second.st_ino;
}

bool store(const QByteArray &file)
{
    const int descriptor = ::open(file.constData(), O_RDONLY | O_CLOEXEC);
    const bool isStored = descriptor >= 0 && ::fsync(descriptor) == 0;
    if (descriptor >= 0)
        ::close(descriptor);
    return isStored;
}

bool moveToNewName(const QByteArray &from, const QByteArray &to)
{
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0)
        return true;
    // Not every file system can do that in one step.
    return (errno == EINVAL || errno == ENOSYS) && ::access(to.constData(), F_OK) != 0
        && std::rename(from.constData(), to.constData()) == 0;
}

} // namespace

TargetFile::TargetFile(const QString &path, Existing existing, QStringList sources)
    : m_place(path)
    , m_existing(existing)
    , m_sources(std::move(sources))
{
}

Outcome TargetFile::prepare()
{
    if (exists() && !m_place.isFile())
        return {ExitStatus::NotWritten, tr("%1: 파일이 아닙니다.").arg(path())};
    for (const QString &source : std::as_const(m_sources)) {
        if (isSameFile(source, path()))
            return {ExitStatus::NotWritten, tr("%1: 읽을 파일 자체입니다.").arg(path())};
    }
    if (exists() && m_existing == Existing::Keep)
        return existsAlready(path());
    m_folder.emplace(m_place.absolutePath() + QStringLiteral("/.vornex-XXXXXX"));
    if (!m_folder->isValid())
        return {ExitStatus::NotWritten, path() + QStringLiteral(": ") + m_folder->errorString()};
    return {};
}

QString TargetFile::workPath(const QString &name) const { return m_folder->filePath(name); }

Outcome TargetFile::takePlace(const QString &file) const
{
    const QByteArray from = QFile::encodeName(file);
    const QByteArray to = QFile::encodeName(m_place.absoluteFilePath());
    if (store(from)) {
        const bool isMoved = m_existing == Existing::Keep
            ? moveToNewName(from, to)
            : std::rename(from.constData(), to.constData()) == 0;
        if (isMoved)
            return {};
        if (m_existing == Existing::Keep && errno == EEXIST)
            return existsAlready(path());
    }
    return {ExitStatus::NotWritten, path() + QStringLiteral(": ") + qt_error_string(errno)};
}
