#include "udisksmount.h"

#include "mounttable.h"

#include <algorithm>
#include <QCoroDBus>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QDir>

namespace {

constexpr int answerTimeoutMs = 15000;

QString service() { return QStringLiteral("org.freedesktop.UDisks2"); }

// The kernel's names need no escaping in an object path.
QString objectPathOf(const QString &devicePath)
{
    return QStringLiteral("/org/freedesktop/UDisks2/block_devices/") + devicePath.section(u'/', -1);
}

QStringList disksAndPartitions(const QString &diskPath)
{
    QStringList paths{diskPath};
    const QString name = diskPath.section(u'/', -1);
    const QDir folder(QStringLiteral("/sys/class/block/") + name);
    for (const QString &entry : folder.entryList({name + u'*'}, QDir::Dirs | QDir::NoDotAndDotDot)) {
        if (isOnDisk(QStringLiteral("/dev/") + entry, diskPath))
            paths.append(QStringLiteral("/dev/") + entry);
    }
    return paths;
}

} // namespace

QCoro::Task<QString> mountFatVolumeOf(QString diskPath)
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected())
        co_return QStringLiteral("no system bus, so nobody can be asked to mount its volume");
    const QStringList candidates = disksAndPartitions(diskPath);
    QString error = QStringLiteral("has no FAT volume that could be mounted");
    for (const QString &candidate : candidates) {
        QDBusMessage typeRequest = QDBusMessage::createMethodCall(
            service(), objectPathOf(candidate), QStringLiteral("org.freedesktop.DBus.Properties"),
            QStringLiteral("Get"));
        typeRequest << QStringLiteral("org.freedesktop.UDisks2.Block") << QStringLiteral("IdType");
        const QDBusPendingCall typeCall = bus.asyncCall(typeRequest, answerTimeoutMs);
        const QDBusMessage type = co_await typeCall;
        if (type.type() != QDBusMessage::ReplyMessage) {
            error = type.errorMessage();
            continue;
        }
        if (!isFatType(type.arguments().value(0).value<QDBusVariant>().variant().toString()))
            continue;
        QDBusMessage mountRequest = QDBusMessage::createMethodCall(
            service(), objectPathOf(candidate), QStringLiteral("org.freedesktop.UDisks2.Filesystem"),
            QStringLiteral("Mount"));
        mountRequest << QVariantMap{{QStringLiteral("auth.no_user_interaction"), true}};
        const QDBusPendingCall mountCall = bus.asyncCall(mountRequest, answerTimeoutMs);
        const QDBusMessage reply = co_await mountCall;
        co_return reply.type() == QDBusMessage::ReplyMessage ? QString() : reply.errorMessage();
    }
    co_return error;
}
