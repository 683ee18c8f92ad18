#include "desktop/mounttable.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// Mount tables of machines with a card in them.
class MountTableTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void namesTheVolumesOfRemovableDisks();
    void toleratesForeignLines();
    void knowsADisksPartitions_data();
    void knowsADisksPartitions();
};

void MountTableTest::namesTheVolumesOfRemovableDisks()
{
    const QByteArray table =
        "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
        "27 1 8:2 / / rw,relatime shared:1 - ext4 /dev/sda2 rw\n"
        "30 27 8:1 / /boot/efi rw,relatime shared:2 - vfat /dev/sda1 rw,fmask=0077\n" // unlabelled, fixed
        "31 27 8:49 / /boot/usb rw - vfat /dev/sdd1 rw\n" // unlabelled, removable, but the system's
        "40 27 8:17 / /media/kim/1234-ABCD rw,nosuid,nodev shared:3 master:4 - vfat /dev/sdb1 rw,flush\n"
        "41 27 8:17 /DCIM /srv/pictures rw - vfat /dev/sdb1 rw\n" // a part, mounted a second time
        "42 27 179:1 / /media/kim/MY\\040CARD\\134x rw - vfat /dev/mmcblk0p1 rw\n"
        "43 27 8:18 / /media/kim/ext rw - ext4 /dev/sdb2 rw\n" // unlabelled, but no FAT
        "44 27 0:60 / /media/kim/net rw - fuse.sshfs kim@host: rw\n";
    const QHash<QString, MountedDevice> devices{
        {u"8:1"_s, {false, QString()}}, {u"8:2"_s, {false, QString()}}, {u"8:17"_s, {true, QString()}},
        {u"8:18"_s, {true, QString()}}, {u"8:49"_s, {true, QString()}}, {u"179:1"_s, {true, u"MY CARD"_s}}};
    const QList<Volume> volumes =
        volumesAmong(parseMountInfo(table), [&](const QString &number) -> std::optional<MountedDevice> {
            const auto device = devices.constFind(number);
            return device == devices.cend() ? std::nullopt : std::optional(*device);
        });
    QStringList told;
    for (const Volume &volume : volumes)
        told.append(volume.name + u'|' + volume.rootPath + u'|' + volume.devicePath);
    QCOMPARE(
        told,
        (QStringList{u"NO NAME|/media/kim/1234-ABCD|/dev/sdb1"_s,
                     u"MY CARD|/media/kim/MY CARD\\x|/dev/mmcblk0p1"_s, u"|/media/kim/ext|/dev/sdb2"_s}));
}

void MountTableTest::toleratesForeignLines()
{
    const QList<MountEntry> entries =
        parseMountInfo("\n1 2\n1 2 8:1 / /a rw - vfat\n1 2 8:1 / /a\\04 rw - vfat /dev/sda1 rw\n");
    QCOMPARE(entries.size(), 1); // the line whose escape is cut off
    QCOMPARE(entries[0].mountPoint, u"/a\\04"_s);
}

void MountTableTest::knowsADisksPartitions_data()
{
    QTest::addColumn<QString>("device");
    QTest::addColumn<QString>("disk");
    QTest::addColumn<bool>("isOn");
    QTest::newRow("itself") << u"/dev/sdb"_s << u"/dev/sdb"_s << true;
    QTest::newRow("partition") << u"/dev/sdb12"_s << u"/dev/sdb"_s << true;
    QTest::newRow("27th disk") << u"/dev/sdaa1"_s << u"/dev/sda"_s << false;
    QTest::newRow("card's partition") << u"/dev/mmcblk0p1"_s << u"/dev/mmcblk0"_s << true;
    QTest::newRow("tenth slot") << u"/dev/mmcblk10p1"_s << u"/dev/mmcblk1"_s << false;
    QTest::newRow("unknown disk") << u"/dev/sdb1"_s << QString() << false;
}

void MountTableTest::knowsADisksPartitions()
{
    QFETCH(const QString, device);
    QFETCH(const QString, disk);
    QTEST(isOnDisk(device, disk), "isOn");
}

QTEST_GUILESS_MAIN(MountTableTest)
#include "tst_mounttable.moc"
