#include "cardimage.h"
#include "devicecheck.h"

#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QTest>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

using Tree = QMap<QString, QByteArray>; ///< file: content

constexpr uid_t nobody = 65534;

/// Creates the files of a made-up /sys/dev/block; a name that ends in "/" is a folder.
void writeTree(const QString &root, const Tree &tree)
{
    for (auto entry = tree.begin(); entry != tree.end(); ++entry) {
        const QString path = root + u'/' + entry.key();
        QDir().mkpath(path.left(path.lastIndexOf(u'/')));
        if (!path.endsWith(u'/'))
            writeFile(path, entry.value());
    }
}

} // namespace

class Ext4utilPrivilegesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void knowsTheNamesOfCardReaders_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("isAllowed");
        for (const char *name : {"/dev/sda", "/dev/sdaa", "/dev/mmcblk0", "/dev/mmcblk12"})
            QTest::newRow(name) << QString::fromLatin1(name) << true;
        for (const char *name :
             {"/dev/sd", "/dev/sda1", "/dev/sd/../mem", "/dev/mmcblk", "/dev/mmcblk0p1", "/dev/mmcblk0boot0",
              "/dev/nvme0n1", "/dev/mem", "dev/sda", "/dev/disk/by-id/x", "/dev//sda", "/tmp/dev/sda"})
            QTest::newRow(name) << QString::fromLatin1(name) << false;
    }
    void knowsTheNamesOfCardReaders()
    {
        QFETCH(const QString, name);
        QTEST(isCardDeviceName(name.toStdString()), "isAllowed");
    }

    /// A made-up machine: what a test machine can't have is a card reader.
    void judgesADiskByWhatTheKernelTells_data()
    {
        QTest::addColumn<QMap<QString, QByteArray>>(
            "changes"); // to a card in a reader with a mounted FAT volume
        QTest::addColumn<QString>("refusal");
        const auto row = [](const char *name, const Tree &changes, const char *refusal = "") {
            QTest::newRow(name) << changes << QString::fromLatin1(refusal);
        };
        const auto mounted = [](const char *line) { return Tree{{QStringLiteral("mounts"), line}}; };
        const QString removable = QStringLiteral("block/8:16/removable");
        const QString type = QStringLiteral("block/8:16/device/type");
        row("card in a reader", {});
        row("card in a built-in slot", {{removable, "0\n"}, {type, "SD\n"}});
        row("soldered memory", {{removable, "0\n"}, {type, "MMC\n"}}, "device-not-removable");
        row("fixed disk", {{removable, "0\n"}}, "device-not-removable");
        row("partition", {{QStringLiteral("block/8:16/partition"), "1\n"}}, "device-partition");
        row("part of a RAID", {{QStringLiteral("block/8:16/holders/md0/"), {}}}, "device-in-use");
        row("encrypted partition in use", {{QStringLiteral("block/8:16/sdb1/holders/dm-0/"), {}}},
            "device-in-use");
        row("mounted for the system", mounted("30 1 8:16 / / rw - ext4 /dev/sdb rw\n"), "device-in-use");
        row("partition mounted for the system",
            mounted("30 1 8:17 / /boot/efi rw shared:1 - vfat /dev/sdb1 rw\n"), "device-in-use");
        row("a user's folder on it", mounted("30 1 8:17 / /home rw - ext4 /dev/sdb1 rw\n"), "device-in-use");
        row("no mount table", mounted(nullptr), "device-in-use");
        row("unknown to the kernel", {{QStringLiteral("gone"), "1"}}, "device-unknown");
    }
    void judgesADiskByWhatTheKernelTells()
    {
        QFETCH(const Tree, changes);
        const QTemporaryDir machine;
        Tree tree{{QStringLiteral("block/8:16/removable"), "1\n"},
                  {QStringLiteral("block/8:16/holders/"), {}},
                  {QStringLiteral("block/8:16/sdb1/partition"), "1\n"},
                  {QStringLiteral("block/8:16/sdb1/dev"), "8:17\n"},
                  {QStringLiteral("block/8:16/sdb1/holders/"), {}},
                  {QStringLiteral("mounts"),
                   "29 1 8:1 / / rw - ext4 /dev/none rw\n"
                   "30 1 8:17 / /media/me/1234-ABCD rw - vfat /dev/sdb1 rw\n"}};
        tree.insert(changes);
        writeTree(machine.path(), tree);
        if (tree.value(QStringLiteral("mounts")).isNull())
            QFile::remove(machine.filePath(QStringLiteral("mounts")));
        const SystemPaths system{machine.filePath(QStringLiteral("block")).toStdString(),
                                 machine.filePath(QStringLiteral("mounts")).toStdString(),
                                 machine.filePath(QStringLiteral("swaps")).toStdString()};
        const dev_t device = tree.contains(QStringLiteral("gone")) ? makedev(9, 9) : makedev(8, 16);
        const QString refusal =
            QString::fromStdString(refusalForDevice(device, system).value_or(std::string()));
        QTEST(refusal, "refusal");
    }

    /// A real set-user-ID copy, run by an ordinary user.
    void refusesWhatTheCallerHasNoRightTo()
    {
        CardImage card({{QStringLiteral("a"), "content"}}, {{}, 8, 104857600});
        const QString tool = card.beside(QStringLiteral("tool"));
        if (!becomeHostOf(card, tool))
            QSKIP("no set-user-ID programs can be made here");
        const QString own = card.beside(QStringLiteral("own"));
        QVERIFY(QDir().mkdir(own));
        QCOMPARE(chown(qPrintable(own), nobody, nobody), 0);
        const QString target = own + QStringLiteral("/target");
        const auto read = [&](const QString &device, const char *offset, const QString &to) {
            return asNobody(
                tool, {QStringLiteral("read"), device, QString::fromLatin1(offset), QStringLiteral("a"), to});
        };

        QCOMPARE(chmod(qPrintable(card.path()), 0600), 0);
        QCOMPARE(read(card.path(), "104857600", target).messages,
                 QByteArray("ext4util:device-not-allowed\n"));
        QCOMPARE(read(QStringLiteral("/etc/shadow"), "0", target).exitCode, 2);
        QCOMPARE(read(QStringLiteral("/dev/mem"), "104857600", target).exitCode, 2);
        QVERIFY(!QFile::exists(target));

        QCOMPARE(chmod(qPrintable(card.path()), 0644), 0);
        QCOMPARE(read(card.path(), "104857600", target).messages, QByteArray());
        struct stat status;
        QCOMPARE(stat(qPrintable(target), &status), 0);
        QCOMPARE(status.st_uid, nobody);
        QCOMPARE(read(card.path(), "104857600", card.beside(QStringLiteral("target"))).exitCode, 7);

        // Neither a link to root's file nor that file itself is touched.
        const QString precious = card.beside(QStringLiteral("precious"));
        writeFile(precious, "precious");
        QFile::remove(target);
        QVERIFY(QFile::link(precious, target));
        QCOMPARE(read(card.path(), "104857600", target).exitCode, 7);
        QCOMPARE(read(card.path(), "104857600", precious).exitCode, 7);
        QCOMPARE(fileContent(precious), QByteArray("precious"));
    }

    /// The name is that of a card reader; what stands behind it is a loop device, and root's own.
    void judgesTheDeviceAndNotItsName()
    {
        CardImage card({{QStringLiteral("a"), "content"}}, {{}, 8, 104857600});
        const QString tool = card.beside(QStringLiteral("tool"));
        const QString node = QStringLiteral("/dev/sdzzyx");
        if (!becomeHostOf(card, tool) || QFile::exists(node))
            QSKIP("no set-user-ID programs can be made here");
        const ProgramResult loop = runProgram(QStringLiteral("losetup"),
                                              {QStringLiteral("-rf"), QStringLiteral("--show"), card.path()});
        const QString loopPath = QString::fromUtf8(loop.output.trimmed());
        struct stat status;
        if (loop.exitCode != 0 || stat(qPrintable(loopPath), &status) != 0)
            QSKIP("no loop device here");
        const auto restore = qScopeGuard([&] {
            QFile::remove(node);
            runProgram(QStringLiteral("losetup"), {QStringLiteral("-d"), loopPath});
        });
        if (mknod(qPrintable(node), S_IFBLK | 0600, status.st_rdev) != 0)
            QSKIP("no device nodes can be made here");
        const auto list = [&](const QString &device, const char *offset) {
            return asNobody(tool,
                            {QStringLiteral("ls"), device, QString::fromLatin1(offset), QStringLiteral("/")});
        };
        QCOMPARE(
            ext4util({QStringLiteral("ls"), node, QStringLiteral("104857600"), QStringLiteral("/")}).exitCode,
            0);
        QCOMPARE(list(loopPath, "104857600").messages, QByteArray("ext4util:device-not-allowed\n"));
        QCOMPARE(list(node, "104857600").messages, QByteArray("ext4util:device-virtual\n"));
        QCOMPARE(list(node, "0").messages, QByteArray("ext4util:device-not-allowed\n"));
        // With a right of his own the caller needs none of root's.
        QCOMPARE(chmod(qPrintable(node), 0644), 0);
        QCOMPARE(list(node, "104857600").exitCode, 0);
    }

private:
    /// Puts a set-user-ID copy of the tool where nobody can run it; false where that isn't possible.
    static bool becomeHostOf(CardImage &card, const QString &tool)
    {
        struct statvfs system;
        return geteuid() == 0 && QFile::copy(ext4utilPath(), tool) && chmod(qPrintable(tool), 04755) == 0
            && chmod(qPrintable(card.beside({})), 0755) == 0 && statvfs(qPrintable(tool), &system) == 0
            && (system.f_flag & ST_NOSUID) == 0
            && asNobody(tool, {QStringLiteral("--version")}).exitCode == 0;
    }

    static ProgramResult asNobody(const QString &program, const QStringList &arguments)
    {
        return runProgram(QStringLiteral("setpriv"),
                          QStringList{QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"),
                                      QStringLiteral("--clear-groups"), program}
                              + arguments);
    }
};

QTEST_GUILESS_MAIN(Ext4utilPrivilegesTest)
#include "tst_ext4util_privileges.moc"
