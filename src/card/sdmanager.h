#pragma once

#include <optional>
#include <QObject>
#include <QString>

struct DiskInfo;
class DiskWatcher;

/// Decides which disk is the camera's card and publishes it. Lives on the main thread.
class SDManager : public QObject
{
    Q_OBJECT
public:
    /// The watcher has to outlive the manager.
    explicit SDManager(DiskWatcher &watcher, QObject *parent = nullptr);

    /// Begins card detection. A card that is in already is found in the same way. Called once.
    void startMonitoring();
    /// Takes cards from this watcher, too, for as long as it lives, and starts it.
    void watch(DiskWatcher &watcher);

    /// The card's device, such as /dev/sdb. When it changes to a value, the process-wide card device path is
    /// set already; when it changes to none, that path goes just after.
    [[nodiscard]] const std::optional<QString> &detectedDisk() const { return m_detectedDisk; }
    void setDetectedDisk(std::optional<QString> devicePath); ///< signals only a change

    /// A removable whole disk whose model text speaks of "sd" or "storage", as card readers do.
    [[nodiscard]] static bool isCard(const DiskInfo &disk);

Q_SIGNALS:
    void detectedDiskChanged();

private:
    void diskAppeared(const DiskInfo &disk);
    void diskDisappeared();
    void takeCard(const QString &devicePath);
    void dropCard();

    DiskWatcher &m_watcher;
    std::optional<QString> m_detectedDisk;
};
