#include "desktop/diskrules.h"
#include "desktop/mediumtracker.h"

#include <QTest>

using namespace Qt::StringLiterals;
using Properties = QHash<QString, QString>;

/// What the system said about real readers, slots and drives, and what must be made of it.
class DiskRulesTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void describesADisk_data();
    void describesADisk();
    void ignoresWhatIsNoRealDisk_data();
    void ignoresWhatIsNoRealDisk();
    void tellsComingAndGoing_data();
    void tellsComingAndGoing();
};

void DiskRulesTest::describesADisk_data()
{
    QTest::addColumn<QString>("node");
    QTest::addColumn<QString>("devType");
    QTest::addColumn<Properties>("properties");
    QTest::addColumn<Properties>("attributes");
    QTest::addColumn<bool>("removable");
    QTest::addColumn<bool>("whole");
    QTest::addColumn<std::optional<QString>>("model");
    const Properties removable{{u"removable"_s, u"1"_s}};
    const Properties fixed{{u"removable"_s, u"0"_s}};
    const auto none = std::optional<QString>();
    const auto text = [](const char *model) { return std::optional(QString::fromUtf8(model)); };

    QTest::newRow("reader: slashes and blanks come back, padding goes")
        << u"/dev/sdb"_s << u"disk"_s
        << Properties{{u"ID_MODEL_ENC"_s, u"SD\\x2fMMC\\x2fMS\\x20PRO\\x20\\x20\\x20"_s},
                      {u"ID_MODEL"_s, u"SD_MMC_MS_PRO"_s}}
        << removable << true << true << text("SD/MMC/MS PRO");
    QTest::newRow("reader known to udev, not by its text")
        << u"/dev/sdb"_s << u"disk"_s
        << Properties{{u"ID_MODEL_ENC"_s, u"USB2.0-CRW"_s}, {u"ID_DRIVE_FLASH_SD"_s, u"1"_s}} << removable
        << true << true << text("USB2.0-CRW SD");
    QTest::newRow("its partition is removable, but not whole")
        << u"/dev/sdb1"_s << u"partition"_s << Properties{{u"ID_MODEL_ENC"_s, u"STORAGE\\x20DEVICE"_s}}
        << removable << true << false << text("STORAGE DEVICE");
    QTest::newRow("USB SSD is fixed")
        << u"/dev/sdc"_s << u"disk"_s << Properties{{u"ID_MODEL"_s, u"RTL9210_NVME_SSD"_s}} << fixed << false
        << true << text("RTL9210_NVME_SSD");
    QTest::newRow("without udevd: sysfs's padded text")
        << u"/dev/sdb"_s << u"disk"_s << Properties()
        << Properties{{u"removable"_s, u"1\n"_s}, {u"device/model"_s, u"STORAGE DEVICE  "_s}} << true << true
        << text("STORAGE DEVICE");
    QTest::newRow("nothing known") << u"/dev/sdb"_s << u"disk"_s << Properties() << removable << true << true
                                   << none;
    QTest::newRow("built-in slot: the kernel says fixed, the card's name says nothing")
        << u"/dev/mmcblk0"_s << u"disk"_s
        << Properties{{u"MMC_TYPE"_s, u"SD"_s}, {u"ID_NAME"_s, u"SU32G"_s}, {u"ID_DRIVE_FLASH_SD"_s, u"1"_s}}
        << fixed << true << true << text("SD SU32G");
    QTest::newRow("built-in slot without udevd") << u"/dev/mmcblk0"_s << u"disk"_s << Properties()
                                                 << Properties{{u"removable"_s, u"0"_s},
                                                               {u"device/type"_s, u"SD\n"_s},
                                                               {u"device/name"_s, u"SN64G\n"_s}}
                                                 << true << true << text("SD SN64G");
    QTest::newRow("eMMC stays fixed, whatever its model text")
        << u"/dev/mmcblk1"_s << u"disk"_s << Properties{{u"ID_NAME"_s, u"DG4016"_s}}
        << Properties{{u"removable"_s, u"0"_s}, {u"device/type"_s, u"MMC"_s}} << false << true
        << text("SD DG4016");
    QTest::newRow("encoding cut off or broken is kept as it stands")
        << u"/dev/sdb"_s << u"disk"_s << Properties{{u"ID_MODEL_ENC"_s, u"A\\xzzB\\x2"_s}} << removable
        << true << true << text("A\\xzzB\\x2");
}

void DiskRulesTest::describesADisk()
{
    QFETCH(const QString, node);
    QFETCH(const QString, devType);
    QFETCH(const Properties, properties);
    QFETCH(const Properties, attributes);
    const DiskInfo info = describeDisk({u"/sys/devices/pci/x"_s, node, devType, properties, attributes, 1});
    QCOMPARE(info.devicePath, node);
    QTEST(info.isRemovable, "removable");
    QTEST(info.isWhole, "whole");
    QTEST(info.model, "model");
}

void DiskRulesTest::ignoresWhatIsNoRealDisk_data()
{
    QTest::addColumn<QString>("sysPath");
    QTest::addColumn<QString>("node");
    QTest::addColumn<bool>("isReal");
    QTest::newRow("snap's loop mount") << u"/sys/devices/virtual/block/loop3"_s << u"/dev/loop3"_s << false;
    QTest::newRow("optical drive") << u"/sys/devices/pci0/ata1/block/sr0"_s << u"/dev/sr0"_s << false;
    QTest::newRow("eMMC boot area") << u"/sys/devices/mmc0/block/mmcblk0boot0"_s << u"/dev/mmcblk0boot0"_s
                                    << false;
    QTest::newRow("eMMC key area") << u"/sys/devices/mmc0/block/mmcblk0rpmb"_s << u"/dev/mmcblk0rpmb"_s
                                   << false;
    QTest::newRow("no node") << u"/sys/devices/pci0/block/sdb"_s << QString() << false;
    QTest::newRow("reader") << u"/sys/devices/pci0/usb1/block/sdb"_s << u"/dev/sdb"_s << true;
    QTest::newRow("card's partition")
        << u"/sys/devices/mmc0/block/mmcblk0/mmcblk0p1"_s << u"/dev/mmcblk0p1"_s << true;
}

void DiskRulesTest::ignoresWhatIsNoRealDisk()
{
    QFETCH(const QString, sysPath);
    QFETCH(const QString, node);
    QTEST(isRealDisk({sysPath, node, u"disk"_s, {}, {}, 1}), "isReal");
}

// Each step is a report on one reader: "SIZE FLAG SEQUENCE", or "remove". The result has "-" for gone and "+"
// for come per step.
void DiskRulesTest::tellsComingAndGoing_data()
{
    QTest::addColumn<QStringList>("reports");
    QTest::addColumn<QStringList>("outcomes");
    QTest::newRow("card into a plugged reader, echoes, card out, reader unplugged")
        << QStringList{u"0 0 1"_s, u"0 1 1"_s, u"9 1 2"_s, u"9 0 2"_s, u"9 0 2"_s, u"0 1 3"_s, u"remove"_s}
        << QStringList{QString(), QString(), u"+"_s, QString(), QString(), u"-"_s, QString()};
    QTest::newRow("slot: card comes and goes as a device")
        << QStringList{u"9 0 1"_s, u"remove"_s, u"remove"_s} << QStringList{u"+"_s, u"-"_s, QString()};
    QTest::newRow("cards swapped between two looks")
        << QStringList{u"9 0 1"_s, u"9 1 3"_s, u"9 0 3"_s} << QStringList{u"+"_s, u"-+"_s, QString()};
    QTest::newRow("flag alone is no swap")
        << QStringList{u"9 0 1"_s, u"9 1 1"_s} << QStringList{u"+"_s, QString()};
}

void DiskRulesTest::tellsComingAndGoing()
{
    QFETCH(const QStringList, reports);
    MediumTracker tracker;
    QStringList told;
    for (const QString &report : reports) {
        const QStringList words = report.split(u' ');
        const MediumTracker::Outcome outcome = words[0] == u"remove"
            ? tracker.remove(u"/dev/sdb"_s)
            : tracker.update(
                {{u"/dev/sdb"_s, true, true, std::nullopt}, words[0] != u"0", words[1] == u"1", words[2]});
        told.append(QString(outcome.disappeared ? u"-"_s : QString())
                    + (outcome.appeared ? u"+"_s : QString()));
    }
    QTEST(told, "outcomes");
}

QTEST_GUILESS_MAIN(DiskRulesTest)
#include "tst_diskrules.moc"
