#include "sdmanager.h"

#include "common/log.h"
#include "desktop/diskwatcher.h"
#include "processvalues.h"

namespace {

QString modelText(const DiskInfo &disk) { return disk.model.value_or(QStringLiteral("Unknown")); }

QString yesOrNo(bool value) { return value ? QStringLiteral("true") : QStringLiteral("false"); }

/// The device's unbuffered twin, on systems whose disks have one.
QString rawDevicePath(QString devicePath)
{
    if (devicePath.startsWith(u"/dev/"))
        devicePath.replace(QStringLiteral("/disk"), QStringLiteral("/rdisk"));
    return devicePath;
}

} // namespace

SDManager::SDManager(DiskWatcher &watcher, QObject *parent)
    : QObject(parent)
    , m_watcher(watcher)
{
}

void SDManager::startMonitoring()
{
    logLine(QStringLiteral("[SDManager] startMonitoring"));
    watch(m_watcher);
}

void SDManager::watch(DiskWatcher &watcher)
{
    connect(&watcher, &DiskWatcher::appeared, this, &SDManager::diskAppeared);
    connect(&watcher, &DiskWatcher::disappeared, this, &SDManager::diskDisappeared);
    if (!watcher.start())
        watcher.disconnect(this);
}

void SDManager::setDetectedDisk(std::optional<QString> devicePath)
{
    if (m_detectedDisk == devicePath)
        return;
    m_detectedDisk = std::move(devicePath);
    Q_EMIT detectedDiskChanged();
}

bool SDManager::isCard(const DiskInfo &disk)
{
    const QString model = modelText(disk).toLower(); // by Unicode, not by the user's language
    return disk.isRemovable && disk.isWhole && (model.contains(u"sd") || model.contains(u"storage"));
}

void SDManager::diskAppeared(const DiskInfo &disk)
{
    if (!isCard(disk))
        return;
    logLine({QStringLiteral("[SDManager] DARegisterDiskAppearedCallback"), disk.devicePath,
             yesOrNo(disk.isRemovable), yesOrNo(disk.isWhole), modelText(disk)});
    const auto take = [this, devicePath = disk.devicePath] { takeCard(devicePath); };
    QMetaObject::invokeMethod(this, take, Qt::QueuedConnection);
}

void SDManager::diskDisappeared()
{
    QMetaObject::invokeMethod(this, &SDManager::dropCard, Qt::QueuedConnection);
}

void SDManager::takeCard(const QString &devicePath)
{
    if (m_detectedDisk == devicePath)
        return;
    processvalues::setCardDevicePath(rawDevicePath(devicePath));
    setDetectedDisk(devicePath);
}

/// Any disk's end is the card's end: its partitions announce themselves one by one, in no fixed order.
void SDManager::dropCard()
{
    setDetectedDisk(std::nullopt);
    processvalues::setCardDevicePath(std::nullopt);
}
