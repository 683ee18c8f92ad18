#include "card/processvalues.h"
#include "card/sdmanager.h"
#include "support/logcapture.h"
#include "support/scripteddesktop.h"

#include <QTest>

using processvalues::cardDevicePath;

class SDManagerTest : public QObject
{
    Q_OBJECT

    /// Starts, and notes what observers see at each change: the detected disk and the process-wide path.
    static void noteChanges(SDManager &manager, QStringList &changes)
    {
        connect(&manager, &SDManager::detectedDiskChanged, &manager, [&] {
            const QString none = QStringLiteral("none");
            changes.append(manager.detectedDisk().value_or(none) + u' ' + cardDevicePath().value_or(none));
        });
        manager.startMonitoring();
    }

private Q_SLOTS:
    void cleanup() { processvalues::setCardDevicePath(std::nullopt); }

    void knowsACardByItsDescription_data()
    {
        QTest::addColumn<bool>("isRemovable");
        QTest::addColumn<bool>("isWhole");
        QTest::addColumn<std::optional<QString>>("model");
        QTest::addColumn<bool>("isCard");
        const auto row = [](const char *name, bool isRemovable, bool isWhole, const char *model,
                            bool isCard) {
            QTest::newRow(name) << isRemovable << isWhole
                                << (model ? std::optional(QString::fromUtf8(model)) : std::nullopt) << isCard;
        };
        row("reader", true, true, "SD Card Reader", true);
        row("upper case", true, true, "MASS STORAGE DEVICE", true);
        row("inside a word", true, true, "MassStorageClass", true);
        row("stick", true, true, "Flash Drive", false);
        row("no model", true, true, nullptr, false);
        row("partition", true, false, "SD Card Reader", false);
        row("fixed", false, true, "SSD 870", false);
    }
    void knowsACardByItsDescription()
    {
        QFETCH(const bool, isRemovable);
        QFETCH(const bool, isWhole);
        QFETCH(const std::optional<QString>, model);
        QTEST(SDManager::isCard({QStringLiteral("/dev/sdb"), isRemovable, isWhole, model}), "isCard");
    }

    void derivesTheRawDevice_data()
    {
        QTest::addColumn<QString>("disk");
        QTest::addColumn<QString>("raw");
        QTest::newRow("with a raw twin") << QStringLiteral("/dev/disk4") << QStringLiteral("/dev/rdisk4");
        QTest::newRow("without") << QStringLiteral("/dev/mmcblk0") << QStringLiteral("/dev/mmcblk0");
        QTest::newRow("an image") << QStringLiteral("/tmp/disk/card.img")
                                  << QStringLiteral("/tmp/disk/card.img");
    }
    void derivesTheRawDevice()
    {
        QFETCH(const QString, disk);
        ScriptedDiskWatcher watcher;
        SDManager manager(watcher);
        manager.startMonitoring();
        watcher.insertCard(disk);
        QCoreApplication::processEvents();
        QCOMPARE(manager.detectedDisk(), std::optional(disk));
        QTEST(*cardDevicePath(), "raw");
    }

    void followsCardsAsTheyComeAndGo()
    {
        ScriptedDiskWatcher watcher;
        SDManager manager(watcher);
        QStringList changes;
        noteChanges(manager, changes);
        watcher.insertCard(QStringLiteral("/dev/disk4"));
        QVERIFY(!manager.detectedDisk()); // comes by a task of its own
        watcher.insertCard(QStringLiteral("/dev/disk4")); // told twice
        watcher.insertCard(QStringLiteral("/dev/disk5")); // replaces the first without a removal
        watcher.appear({QStringLiteral("/dev/sdc"), true, true, QStringLiteral("Flash Drive")});
        QCoreApplication::processEvents();
        watcher.disappear(QStringLiteral("/dev/sdc")); // no card's, and yet the end
        watcher.disappear(QStringLiteral("/dev/disk5"));
        QCoreApplication::processEvents();
        QCOMPARE(changes,
                 QStringList({QStringLiteral("/dev/disk4 /dev/rdisk4"),
                              QStringLiteral("/dev/disk5 /dev/rdisk5"), QStringLiteral("none /dev/rdisk5")}));
        QVERIFY(!cardDevicePath());
    }

    void logsCardsOnly()
    {
        LogCapture log;
        ScriptedDiskWatcher watcher;
        SDManager manager(watcher);
        manager.startMonitoring();
        watcher.appear({QStringLiteral("/dev/sda"), false, true, QStringLiteral("SSD 870")});
        watcher.insertCard(QStringLiteral("/dev/sdb"));
        QCOMPARE(log.lines(),
                 QStringList({QStringLiteral("[SDManager] startMonitoring"),
                              QStringLiteral("[SDManager] DARegisterDiskAppearedCallback /dev/sdb true true "
                                             "SD Card Reader")}));
    }
};

QTEST_GUILESS_MAIN(SDManagerTest)
#include "tst_sdmanager.moc"
