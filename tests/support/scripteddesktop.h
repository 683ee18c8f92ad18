#pragma once

#include "desktop/desktop.h"

#include <cerrno>
#include <QFile>
#include <QStringList>
#include <sys/stat.h>
#include <unistd.h>

/// A desktop that does what a test tells it. Its parts stay reachable while the Desktop owns them.

class ScriptedDiskWatcher : public DiskWatcher
{
public:
    using DiskWatcher::DiskWatcher;
    bool start() override
    {
        ++startCount;
        return canWatch;
    }
    void appear(const DiskInfo &disk) { Q_EMIT appeared(disk); }
    /// A card in a reader, as the rule wants it.
    void insertCard(const QString &devicePath)
    {
        appear({devicePath, true, true, QStringLiteral("SD Card Reader")});
    }
    void disappear(const QString &devicePath) { Q_EMIT disappeared(devicePath); }

    bool canWatch = true;
    int startCount = 0;
};

/// Volumes that are folders of the test. Those in `later` are mounted by a wait for them.
class ScriptedVolumeList : public VolumeList
{
public:
    [[nodiscard]] VolumeListing listing() const override { return {mounted, error}; }
    QCoro::Task<> waitForVolumeOf(QString diskPath) override
    {
        waits.append(diskPath);
        if (onWait)
            co_await onWait();
    }

    QList<Volume> mounted;
    QString error; ///< why they can't be listed
    QStringList waits; ///< disks that were waited for
    std::function<QCoro::Task<>()> onWait; ///< none: the wait is over at once
};

/// Notes each request and answers it; as root it makes the change for real.
class ScriptedConsent : public AdministratorConsent
{
public:
    [[nodiscard]] bool isNeeded() const override { return isAsked; }
    QCoro::Task<QString> makeSetUserIdRoot(QString toolPath) override
    {
        requests.append(toolPath);
        if (!answer.isEmpty() || ::geteuid() != 0)
            co_return answer;
        const QByteArray path = QFile::encodeName(toolPath);
        if (::chown(path.constData(), 0, 0) != 0 || ::chmod(path.constData(), 04755) != 0)
            co_return qt_error_string(errno);
        co_return QString();
    }

    bool isAsked = true;
    QStringList requests;
    QString answer; ///< empty: granted
};

struct ScriptedDesktop {
    ScriptedDesktop()
    {
        auto newWatcher = std::make_unique<ScriptedDiskWatcher>();
        auto newVolumes = std::make_unique<ScriptedVolumeList>();
        auto newConsent = std::make_unique<ScriptedConsent>();
        watcher = newWatcher.get();
        volumes = newVolumes.get();
        consent = newConsent.get();
        desktop.diskWatcher = std::move(newWatcher);
        desktop.volumeList = std::move(newVolumes);
        desktop.consent = std::move(newConsent);
        desktop.bundledTool = [this](const QString &tool) { return tools.value(tool); };
        desktop.diskSpace = [this](const QString &) { return space; };
    }
    ScriptedDesktop(const ScriptedDesktop &) = delete;
    ScriptedDesktop &operator=(const ScriptedDesktop &) = delete;

    Desktop desktop;
    ScriptedDiskWatcher *watcher = nullptr;
    ScriptedVolumeList *volumes = nullptr;
    ScriptedConsent *consent = nullptr;
    QHash<QString, QString> tools; ///< path of each tool that came with the program
    DiskSpace space{100'000'000'000, 200'000'000'000};
};
