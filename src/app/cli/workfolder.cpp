#include "workfolder.h"

#include "common/text.h"
#include "common/userfolders.h"

#include <QDir>
#include <QFile>
#include <QSet>

namespace {

QSet<QTemporaryDir *> &folders()
{
    static QSet<QTemporaryDir *> instance;
    return instance;
}

} // namespace

WorkFolder::WorkFolder(const QString &pathTemplate)
    : m_folder(pathTemplate)
{
    folders().insert(&m_folder);
}

WorkFolder::~WorkFolder() { folders().remove(&m_folder); }

std::unique_ptr<WorkFolder> WorkFolder::makeHome()
{
    const QStringList bases{userfolders::cache(), QStringLiteral("/var/tmp"), QStringLiteral("/tmp")};
    for (const QString &base : bases) {
        if (!text::isPlainShellWord(base) || !QDir().mkpath(base))
            continue;
        auto home = std::make_unique<WorkFolder>(base + QStringLiteral("/vornex-cli-XXXXXX"));
        if (!home->isValid())
            continue;
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(home->m_folder.path()));
        qputenv("XDG_CACHE_HOME", QFile::encodeName(home->filePath(QStringLiteral("cache"))));
        qputenv("XDG_DATA_HOME", QFile::encodeName(home->filePath(QStringLiteral("data"))));
        return home;
    }
    return nullptr;
}

void WorkFolder::removeAll()
{
    for (QTemporaryDir *folder : std::as_const(folders()))
        folder->remove();
}
