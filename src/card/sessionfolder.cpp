#include "sessionfolder.h"

#include "common/bundle.h"
#include "common/log.h"
#include "common/text.h"
#include "common/userfolders.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <QDir>
#include <QFile>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Programs that make backups know this name and its first line, and leave the folder out.
constexpr char markName[] = "/CACHEDIR.TAG";
constexpr char mark[] = "Signature: 8a477f597d28d172789f06886806bc55\n"
                        "# Vornex made this folder and deletes what lies in it.\n";

bool isOwnFolder(const QByteArray &path)
{
    struct stat status {
    };
    return ::lstat(path.constData(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid();
}

/// Makes the folder, or takes the one that is there if it is our own and no link, and shuts it to others.
bool makePrivateFolder(const QByteArray &path)
{
    if (::mkdir(path.constData(), S_IRWXU) == 0)
        return true;
    return isOwnFolder(path) && ::chmod(path.constData(), S_IRWXU) == 0
        && ::access(path.constData(), W_OK | X_OK) == 0;
}

bool holdsNothingToDelete(const QByteArray &path)
{
    return ::access((path + "/cfg").constData(), F_OK) != 0
        && ::access((path + "/mov").constData(), F_OK) != 0;
}

bool isOurMark(int file)
{
    struct stat status {
    };
    QByteArray text(sizeof(mark), '\0');
    if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink == 0)
        return false;
    text.resize(std::max<ssize_t>(0, ::pread(file, text.data(), static_cast<size_t>(text.size()), 0)));
    return text.isEmpty() || text == mark; // empty where the disk was full
}

QString plainWord(QString name)
{
    for (QChar &c : name) {
        if (c == u'/' || !text::isPlainShellWord(QStringView(&c, 1)))
            c = u'_';
    }
    return name;
}

} // namespace

std::optional<SessionFolder> SessionFolder::open(const QString &path, bool mayMark)
{
    const QByteArray folder = QFile::encodeName(path);
    const QByteArray name = folder + markName;
    if (!(mayMark ? makePrivateFolder(folder) : isOwnFolder(folder)))
        return std::nullopt;
    constexpr int flags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    FileDescriptor file(::open(name.constData(), flags));
    if (!file.isOpen() && errno == ENOENT && mayMark && holdsNothingToDelete(folder))
        file = FileDescriptor(::open(name.constData(), flags | O_CREAT, S_IRUSR | S_IWUSR));
    // Looked at only when it is locked: until then its owner may be removing it.
    if (!file.isOpen() || ::flock(file.get(), LOCK_EX | LOCK_NB) != 0 || !isOurMark(file.get()))
        return std::nullopt;
    if (mayMark && ::pwrite(file.get(), mark, sizeof(mark) - 1, 0) < 0)
        logLine(QStringLiteral("[ProcessManager] ") + path + QStringLiteral(": ") + qt_error_string(errno));
    return SessionFolder(path + u'/', std::move(file));
}

SessionFolder SessionFolder::take(const QList<Place> &places)
{
    for (const Place &place : places) {
        const QString path = place.folder + u'/' + place.name;
        if (place.folder.isEmpty() || !text::isPlainShellWord(path) || !QDir().mkpath(place.folder))
            continue;
        if (auto folder = open(path, true))
            return std::move(*folder);
        logLine(QStringLiteral("[ProcessManager] ") + path
                + QStringLiteral(" is in use or not this program's own"));
        QByteArray own = QFile::encodeName(path + QStringLiteral("-XXXXXX"));
        if (::mkdtemp(own.data()) == nullptr)
            continue;
        auto folder = open(QFile::decodeName(own), true);
        // Where no lock can be had, nobody else has this name all the same.
        return folder ? std::move(*folder) : SessionFolder(QFile::decodeName(own) + u'/', FileDescriptor());
    }
    logLine(QStringLiteral("[ProcessManager] no folder for temporary files can be made"));
    return {QStringLiteral("/dev/null/"), FileDescriptor()};
}

std::vector<SessionFolder> SessionFolder::takeAbandoned(const QList<Place> &places)
{
    std::vector<SessionFolder> folders;
    for (const Place &place : places) {
        const QDir parent(place.folder);
        const QStringList names =
            parent.entryList({place.name, place.name + QStringLiteral("-*")}, QDir::Dirs | QDir::Hidden);
        for (const QString &name : names) {
            if (auto folder = open(parent.filePath(name), false))
                folders.push_back(std::move(*folder));
        }
    }
    return folders;
}

QList<SessionFolder::Place> SessionFolder::usualPlaces()
{
    const QString name = applicationName();
    return {{userfolders::cache(), name},
            {QStringLiteral("/var/tmp"), plainWord(name) + u'-' + QString::number(::geteuid())}};
}

void SessionFolder::remove()
{
    const QByteArray folder = QFile::encodeName(m_path.chopped(1));
    const QStringList others =
        QDir(m_path).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    if (others.size() > 1)
        return;
    ::unlink((folder + markName).constData());
    ::rmdir(folder.constData());
}
