// Qt's and GLib's words are kept apart by QT_NO_KEYWORDS.
#include <umockdev.h>

#include "desktop/mountedvolumelist.h"
#include "desktop/udevdiskwatcher.h"

#include <QCoroTask>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QDir>
#include <QProcess>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// Answers as UDisks2 does, and notes what was mounted.
class FakeUDisks : public QDBusVirtualObject
{
    Q_OBJECT
public:
    QHash<QString, QString> idTypes; // by the device's name
    QStringList mounted;

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        const QString name = message.path().section(u'/', -1);
        if (message.member() == u"Get" && idTypes.contains(name))
            return connection.send(
                message.createReply(QVariant::fromValue(QDBusVariant(idTypes.value(name)))));
        if (message.member() != u"Mount")
            return connection.send(message.createErrorReply(QDBusError::UnknownObject, u"no such device"_s));
        mounted.append(name);
        return connection.send(message.createReply(u"/media/kim/1234-ABCD"_s));
    }
};

/// Real libudev on a machine whose devices are played by a testbed.
class UdevTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void announcesWhatIsThereOnceAfterStart();
    void followsACardThroughAReader();
    void seesADiskThatCameBeforeTheScan();
    void tellsPartitionsFromDisks();
    void namesAMountedVolumeByItsLabel();
    void asksForTheFatVolumeOnly();
    void asksForNothingElse();
    void cleanupTestCase();

private:
    QString addDisk(const char *name, const char *size, const char *parent = nullptr);
    void watch(UdevDiskWatcher &watcher);
    [[nodiscard]] QString testbedRoot() const
    {
        gchar *root = umockdev_testbed_get_root_dir(m_testbed.get());
        const QString text = QString::fromUtf8(root);
        g_free(root);
        return text;
    }
    static QProcessEnvironment withoutTestbed()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove(u"LD_PRELOAD"_s);
        return environment;
    }
    struct Unref {
        void operator()(UMockdevTestbed *testbed) const { g_object_unref(testbed); }
    };
    std::unique_ptr<UMockdevTestbed, Unref> m_testbed;
    QStringList m_told;
    QProcess m_bus;
    FakeUDisks m_udisks;
};

// A system bus of the test's own.
void UdevTest::initTestCase()
{
    QVERIFY2(qgetenv("LD_PRELOAD").contains("umockdev"), "run it by ctest or umockdev-wrapper");
    m_bus.setProcessEnvironment(withoutTestbed());
    m_bus.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address"_s});
    QVERIFY2(m_bus.waitForReadyRead(), qPrintable(m_bus.errorString()));
    const QByteArray address = m_bus.readLine().trimmed();
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", address);
    QDBusConnection bus = QDBusConnection::connectToBus(QString::fromLatin1(address), u"udisks"_s);
    QVERIFY(bus.registerService(u"org.freedesktop.UDisks2"_s));
    QVERIFY(bus.registerVirtualObject(u"/org/freedesktop/UDisks2"_s, &m_udisks, QDBusConnection::SubPath));
}

void UdevTest::cleanupTestCase()
{
    QDBusConnection::disconnectFromBus(u"udisks"_s);
    m_bus.kill();
    m_bus.waitForFinished();
}

void UdevTest::init()
{
    m_udisks.mounted.clear();
    m_testbed.reset(); // the next one takes its place
    m_testbed.reset(umockdev_testbed_new());
    m_told.clear();
}

QString UdevTest::addDisk(const char *name, const char *size, const char *parent)
{
    const QByteArray node = QByteArray("/dev/") + name;
    const bool isPartition = parent != nullptr;
    gchar *path = umockdev_testbed_add_device(m_testbed.get(), "block", name, parent, "size", size,
                                              "removable", "1", nullptr, "DEVNAME", node.constData(),
                                              "DEVTYPE", isPartition ? "partition" : "disk", "ID_MODEL_ENC",
                                              "STORAGE\\x20DEVICE", "DISKSEQ", "7", nullptr);
    const QString text = QString::fromUtf8(path);
    g_free(path);
    QDir().mkpath(testbedRoot() + u"/dev"_s);
    QFile file(testbedRoot() + QString::fromLatin1(node));
    if (!file.open(QIODevice::WriteOnly))
        qFatal("can't make the node");
    return text;
}

void UdevTest::watch(UdevDiskWatcher &watcher)
{
    connect(&watcher, &DiskWatcher::appeared, this, [this](const DiskInfo &disk) {
        m_told.append(u'+' + disk.devicePath + u' ' + disk.model.value_or(u"-"_s)
                      + (disk.isWhole ? u" whole"_s : u" part"_s)
                      + (disk.isRemovable ? u" removable"_s : u" fixed"_s));
    });
    connect(&watcher, &DiskWatcher::disappeared, this,
            [this](const QString &path) { m_told.append(u'-' + path); });
    QVERIFY(watcher.start());
    QVERIFY(m_told.isEmpty());
}

void UdevTest::announcesWhatIsThereOnceAfterStart()
{
    addDisk("sdb", "1000");
    addDisk("sdc", "0"); // a reader without a card
    UdevDiskWatcher watcher;
    watch(watcher);
    QTRY_COMPARE(m_told, QStringList{u"+/dev/sdb STORAGE DEVICE whole removable"_s});
}

void UdevTest::followsACardThroughAReader()
{
    const QByteArray disk = addDisk("sdb", "0").toUtf8();
    addDisk("sda", "1000"); // tells when the scan is over
    UdevDiskWatcher watcher;
    watch(watcher);
    QTRY_COMPARE(m_told.size(), 1);
    m_told.clear();
    umockdev_testbed_set_attribute(m_testbed.get(), disk.constData(), "size", "2000");
    umockdev_testbed_set_property(m_testbed.get(), disk.constData(), "DISK_MEDIA_CHANGE", "1");
    umockdev_testbed_uevent(m_testbed.get(), disk.constData(), "change");
    QTRY_COMPARE(m_told.size(), 1);
    umockdev_testbed_uevent(m_testbed.get(), disk.constData(), "change");
    umockdev_testbed_set_attribute(m_testbed.get(), disk.constData(), "size", "0");
    umockdev_testbed_uevent(m_testbed.get(), disk.constData(), "change");
    QTRY_COMPARE(m_told.size(), 2);
    umockdev_testbed_set_attribute(m_testbed.get(), disk.constData(), "size", "2000");
    umockdev_testbed_uevent(m_testbed.get(), disk.constData(), "change");
    QTRY_COMPARE(m_told.size(), 3);
    umockdev_testbed_uevent(m_testbed.get(), disk.constData(), "remove");
    const QString come = u"+/dev/sdb STORAGE DEVICE whole removable"_s;
    QTRY_COMPARE(m_told, (QStringList{come, u"-/dev/sdb"_s, come, u"-/dev/sdb"_s}));
}

void UdevTest::seesADiskThatCameBeforeTheScan()
{
    UdevDiskWatcher watcher;
    watch(watcher);
    const QByteArray disk = addDisk("sdb", "1000").toUtf8(); // reported by the event and by the scan
    umockdev_testbed_uevent(m_testbed.get(), disk.constData(), "add");
    const QByteArray last = addDisk("sdc", "1000").toUtf8();
    QTRY_COMPARE(m_told.size(), 2);
    umockdev_testbed_uevent(m_testbed.get(), last.constData(), "remove");
    QTRY_COMPARE(m_told.size(), 3);
    QCOMPARE(m_told.filter(u"+/dev/sdb"_s).size(), 1);
}

void UdevTest::tellsPartitionsFromDisks()
{
    const QByteArray disk = addDisk("sdb", "1000").toUtf8();
    addDisk("sdb1", "500", disk.constData());
    UdevDiskWatcher watcher;
    watch(watcher);
    QTRY_COMPARE(m_told,
                 (QStringList{u"+/dev/sdb STORAGE DEVICE whole removable"_s,
                              u"+/dev/sdb1 STORAGE DEVICE part removable"_s}));
}

// A real mount, whose device the testbed describes as a card's.
void UdevTest::namesAMountedVolumeByItsLabel()
{
    if (::geteuid() != 0)
        QSKIP("only root can mount");
    QTemporaryDir folder;
    const QString mountPoint = folder.filePath(u"MY CARD"_s);
    QVERIFY(QDir().mkpath(mountPoint));
    const auto run = [](const QString &program, const QStringList &arguments) {
        QProcess child;
        child.setProcessEnvironment(withoutTestbed());
        child.start(program, arguments);
        child.waitForFinished();
        return child.exitStatus() == QProcess::NormalExit && child.exitCode() == 0;
    };
    QVERIFY(run(u"mke2fs"_s, {u"-q"_s, folder.filePath(u"image"_s), u"1M"_s}));
    if (!run(u"mount"_s, {u"-o"_s, u"ro,loop"_s, folder.filePath(u"image"_s), mountPoint}))
        QSKIP("no loop mounts on this machine");
    const auto unmount = qScopeGuard([&] { run(u"umount"_s, {mountPoint}); });
    struct stat status = {};
    QCOMPARE(::stat(QFile::encodeName(mountPoint).constData(), &status), 0);

    MountedVolumeList volumes;
    QVERIFY(volumes.listing().volumes.isEmpty()); // the kernel's loop device is no card
    const QByteArray majorNumber = QByteArray::number(major(status.st_dev));
    const QByteArray minorNumber = QByteArray::number(minor(status.st_dev));
    g_free(umockdev_testbed_add_device(m_testbed.get(), "block", "sdb", nullptr, "size", "1000", "removable",
                                       "1", nullptr, "DEVNAME", "/dev/sdb", "DEVTYPE", "disk", "MAJOR",
                                       majorNumber.constData(), "MINOR", minorNumber.constData(),
                                       "ID_FS_LABEL_ENC", "NO\\x20NAME", nullptr));
    const QString numbers = testbedRoot() + u"/sys/dev/block"_s;
    QVERIFY(QDir().mkpath(numbers));
    QVERIFY(QFile::link(u"../../devices/sdb"_s,
                        numbers + u'/' + QString::fromLatin1(majorNumber + ':' + minorNumber)));
    const QList<Volume> found = volumes.listing().volumes;
    QCOMPARE(found.size(), 1);
    QCOMPARE(found[0].name, u"NO NAME"_s);
    QCOMPARE(found[0].rootPath, mountPoint);
    QCoro::waitFor(volumes.waitForVolumeOf(found[0].devicePath)); // is there already: asks nobody
    QCOMPARE(m_udisks.mounted, QStringList());
}

void UdevTest::asksForTheFatVolumeOnly()
{
    const QByteArray disk = addDisk("sdb", "1000").toUtf8();
    addDisk("sdb1", "100", disk.constData());
    addDisk("sdb2", "900", disk.constData());
    m_udisks.idTypes = {{u"sdb"_s, QString()}, {u"sdb1"_s, u"ext4"_s}, {u"sdb2"_s, u"vfat"_s}};
    MountedVolumeList volumes({0ms, 0ms, 1ms});
    QCoro::waitFor(volumes.waitForVolumeOf(u"/dev/sdb"_s));
    QCOMPARE(m_udisks.mounted, QStringList{u"sdb2"_s});
}

void UdevTest::asksForNothingElse()
{
    addDisk("sdb", "1000");
    m_udisks.idTypes = {{u"sdb"_s, u"ext4"_s}, {u"sdc"_s, u"vfat"_s}};
    MountedVolumeList volumes({0ms, 0ms, 1ms});
    QCoro::waitFor(volumes.waitForVolumeOf(u"/dev/sdb"_s)); // mounting it would write to it
    QCoro::waitFor(volumes.waitForVolumeOf(u"/dev/sdc"_s)); // isn't there any more
    QCOMPARE(m_udisks.mounted, QStringList());
}

QTEST_GUILESS_MAIN(UdevTest)
#include "tst_udev.moc"
