#include "trash.h"

#include "files.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <QCoroFuture>
#include <QFile>
#include <QtConcurrentRun>
#include <QUuid>
#include <sys/stat.h>

namespace {

constexpr char trashName[] = ".trash";

/// Both stop between two files.
void removeTree(const std::filesystem::path &path, const std::atomic<bool> &isEnding);

void removeContents(const std::filesystem::path &folder, const std::atomic<bool> &isEnding)
{
    std::error_code error;
    std::filesystem::directory_iterator entries(folder, error);
    for (; !error && !isEnding && entries != std::filesystem::directory_iterator(); entries.increment(error))
        removeTree(entries->path(), isEnding);
}

void removeTree(const std::filesystem::path &path, const std::atomic<bool> &isEnding)
{
    std::error_code error;
    if (std::filesystem::is_directory(std::filesystem::symlink_status(path, error)))
        removeContents(path, isEnding);
    if (!isEnding)
        std::filesystem::remove(path, error);
}

} // namespace

Trash::Trash(const QString &parent)
    : m_folder(parent + QLatin1String(trashName))
{
    m_worker.setMaxThreadCount(1);
    if (QFile::exists(m_folder))
        empty();
}

Trash::~Trash() { m_isEnding = true; }

QString Trash::discard(const QString &path)
{
    QByteArray name = QFile::encodeName(path);
    while (name.size() > 1 && name.endsWith('/')) // a trailing "/" would follow a link
        name.chop(1);
    struct stat status {
    };
    if (::lstat(name.constData(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR))
        return {};
    const QString aside = m_folder + u'/' + QUuid::createUuid().toString(QUuid::Id128);
    ::mkdir(QFile::encodeName(m_folder).constData(), S_IRWXU);
    if (::rename(name.constData(), QFile::encodeName(aside).constData()) != 0)
        return files::removeAll(path);
    empty();
    return {};
}

void Trash::remove(std::vector<SessionFolder> abandoned)
{
    const auto folders = std::make_shared<std::vector<SessionFolder>>(std::move(abandoned));
    m_lastWork = QtConcurrent::run(&m_worker, [folders, this] {
        for (SessionFolder &folder : *folders) {
            for (const char *name : {"cfg", "mov", trashName})
                removeTree(QFile::encodeName(folder.path()).toStdString() + name, m_isEnding);
            if (!m_isEnding)
                folder.remove();
        }
    });
}

QCoro::Task<> Trash::emptied()
{
    const QFuture<void> work = m_lastWork;
    co_await qCoro(work).waitForFinished();
}

void Trash::empty()
{
    const std::filesystem::path folder = QFile::encodeName(m_folder).toStdString();
    m_lastWork = QtConcurrent::run(&m_worker, [folder, this] { removeContents(folder, m_isEnding); });
}
