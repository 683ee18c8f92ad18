#include "cardimage.h"
#include "devicecheck.h"

#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QTest>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Tree = QMap<QString, QByteArray>; ///< file: content

constexpr uid_t nobody = 65534;

/// A file system that shows a card in a reader, with a FAT volume that the desktop mounted. A name that ends
/// in
/// "/" is a folder; DISK and FOLDER stand for the disk's number and the machine's folder.
void makeMachine(const QString &root, dev_t disk, const Tree &changes)
{
    Tree tree{{QStringLiteral("block/disk/removable"), "1\n"},
              {QStringLiteral("block/disk/holders/"), {}},
              {QStringLiteral("block/disk/sdb1/partition"), "1\n"},
              {QStringLiteral("block/disk/sdb1/dev"), "8:17\n"},
              {QStringLiteral("block/disk/sdb1/holders/"), {}},
              {QStringLiteral("disks/sda/slaves/"), {}},
              {QStringLiteral("a disk"), {}},
              {QStringLiteral("mounts"),
               "29 1 8:1 / / rw - ext4 /dev/none rw\n"
               "30 1 8:17 / /media/me/1234-ABCD rw - vfat /dev/sdb1 rw\n"}};
    for (auto change = changes.begin(); change != changes.end(); ++change) {
        tree.remove(change.key().chopped(change.key().endsWith(u'/') ? 1 : 0));
        if (change.key() == u"disks")
            tree.remove(QStringLiteral("disks/sda/slaves/"));
        if (!change->isNull() || change.key().endsWith(u'/'))
            tree.insert(change.key(), *change);
    }
    const QByteArray number = QByteArray::number(major(disk)) + ':' + QByteArray::number(minor(disk));
    for (auto entry = tree.begin(); entry != tree.end(); ++entry) {
        const QString path = root + u'/' + entry.key();
        QDir().mkpath(path.left(path.lastIndexOf(u'/')));
        if (!path.endsWith(u'/'))
            writeFile(path, QByteArray(*entry).replace("DISK", number).replace("FOLDER", root.toUtf8()));
    }
    QFile::link(QStringLiteral("disk"), root + QStringLiteral("/block/") + QString::fromLatin1(number));
}

/// Arguments: the tool, the card's folder, what to set up, what to do. "disk FILE" makes a disk of it, as
/// losetup does. Only the disks of this test are shown, as other programs make theirs at the same time.
constexpr char machineScript[] = R"(
tool=$0 folder=$1 node=/dev/sdzzyx made=
clean() {
    cd /
    umount -l /opt /mnt 2>/dev/null
    rm -f $node
    for disk in $made; do losetup -d $disk; done
}
trap clean EXIT
disk() {
    disk=$(losetup -rf --show "$1") || exit 77
    made="$disk $made"
    mkdir -p /sys/block/${disk#/dev/}/{loop,slaves}
    cat $folder/sys/block/${disk#/dev/}/loop/backing_file > /sys/block/${disk#/dev/}/loop/backing_file
}
cd $folder && mkdir sys files && mount -t sysfs none sys || exit 77
truncate -s 1M inner && truncate -s 64K files/disk.img && mke2fs -qF -d files inner || exit 77
dd if=inner of=card.img conv=notrunc status=none
mount -t tmpfs none /sys/block && disk card.img && loop=$disk || exit 77
rm -r /sys/block/*
major=$((0x$(stat -c %t $loop))) minor=$((0x$(stat -c %T $loop)))
mknod -m 600 $node b $major $minor && mount -t tmpfs none /sys/dev/block || exit 77
mkdir -p /sys/dev/block/disk/holders
echo 1 > /sys/dev/block/disk/removable
ln -s disk /sys/dev/block/$major:$minor
set -e
eval "$2" 2>/dev/null
set +e
export tool node loop
setpriv --reuid=65534 --regid=65534 --clear-groups bash -c "list() { \$tool ls \$1 \$2 /; }; $3"
)";

SystemPaths pathsOf(const QTemporaryDir &machine)
{
    const auto path = [&machine](const char *name) {
        return machine.filePath(QString::fromLatin1(name)).toStdString();
    };
    return {path("block"), path("disks"), path("btrfs"), path("mounts"), path("swaps")};
}

ProgramResult asNobody(const QString &program, const QStringList &arguments)
{
    return runProgram(QStringLiteral("setpriv"),
                      QStringList{QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"),
                                  QStringLiteral("--clear-groups"), program}
                          + arguments);
}

/// Puts a set-user-ID copy of the tool where nobody can run it; false where that isn't possible.
bool becomeHostOf(CardImage &card, const QString &tool)
{
    struct statvfs system;
    return geteuid() == 0 && QFile::copy(ext4utilPath(), tool) && chmod(qPrintable(tool), 04755) == 0
        && chmod(qPrintable(card.beside({})), 0755) == 0 && statvfs(qPrintable(tool), &system) == 0
        && (system.f_flag & ST_NOSUID) == 0 && asNobody(tool, {QStringLiteral("--version")}).exitCode == 0;
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

    /// A made-up machine: what a test machine can't have is a card reader. The files on its disk are those in
    /// the test's folder.
    void judgesADiskByWhatTheKernelTells_data()
    {
        QTest::addColumn<Tree>("changes"); // to a card in a reader with a mounted FAT volume
        QTest::addColumn<QString>("refusal");
        const auto row = [](const char *name, const Tree &changes, const char *refusal = "") {
            QTest::newRow(name) << changes << QString::fromLatin1(refusal);
        };
        const auto file = [](const char *name, const QByteArray &content) {
            return Tree{{QString::fromLatin1(name), content}};
        };
        const auto mount = [&](const char *line) {
            return file("mounts", QByteArray("29 1 8:1 / / rw - ext4 /dev/none rw\n") + line);
        };
        const auto swap = [&](const char *line) {
            return file("swaps", QByteArray("Filename\t\t\tType\n") + line);
        };
        const QString type = QStringLiteral("block/disk/device/type");
        const QString removable = QStringLiteral("block/disk/removable");
        row("card in a reader", {});
        row("card in a built-in slot", {{removable, "0\n"}, {type, "SD\n"}});
        row("soldered memory", {{removable, "0\n"}, {type, "MMC\n"}}, "device-not-removable");
        row("fixed disk", file("block/disk/removable", "0\n"), "device-not-removable");
        row("partition", file("block/disk/partition", "1\n"), "device-partition");
        row("unknown to the kernel", file("gone", "1"), "device-unknown:9:9");
        row("partition without a number", file("block/disk/sdb1/dev", ""), "device-unknown:sdb1");

        row("part of a RAID", file("block/disk/holders/md0/", {}), "device-in-use");
        row("encrypted partition", file("block/disk/sdb1/holders/dm-0/", {}), "device-in-use");
        row("below another device", file("disks/dm-0/slaves/sdb1/dev", "8:17\n"), "device-in-use");
        row("another's disk below it", file("disks/dm-0/slaves/sda1/dev", "8:1\n"));
        row("file of it as a disk", file("disks/loop7/loop/backing_file", "FOLDER/mounts\n"),
            "device-in-use");
        row("removed file as a disk", file("disks/loop7/loop/backing_file", "FOLDER/x (deleted)\n"),
            "device-unknown:loop7");
        row("device with no tell", file("disks/dm-0/slaves/sdb1/", {}), "device-unknown:sdb1");
        row("part of a pool", file("btrfs/id/devices/sdb/dev", "DISK\n"), "device-in-use");
        row("no disks", file("disks", "not a folder"), "device-unknown:disks");

        row("mounted for the system", mount("30 1 DISK / / rw - ext4 /dev/x rw\n"), "device-in-use");
        row("partition of the system", mount("30 1 8:17 / /boot/efi rw shared:1 master:2 - vfat /dev/x rw\n"),
            "device-in-use");
        row("under a number of its own", mount("30 1 0:9 / /srv rw - btrfs FOLDER/a\\040disk rw\n"),
            "device-in-use");
        row("source that is gone", mount("30 1 0:9 / /srv rw - btrfs /dev/gone rw\n"),
            "device-unknown:mounts");
        row("share", mount("30 1 0:9 / /srv rw - cifs //server/share rw\n"));
        row("no mount table", file("mounts", nullptr), "device-unknown:mounts");
        row("empty mount table", file("mounts", ""), "device-unknown:mounts");
        row("mount table that can't be read", file("mounts/", {}), "device-unknown:mounts");
        row("mount table cut off", mount("30 1 DISK / / rw - ext4"), "device-unknown:mounts");
        row("mount without its device", mount("30 1 0:9 / /srv rw shared:1\n"), "device-unknown:mounts");

        row("other swap", swap("/proc/self/mounts file 8 0 -2\n"));
        row("swap file on it", swap("FOLDER/a\\040disk\tfile\t8\t0\t-2\n"), "device-in-use");
        row("swap that is gone", swap("/dev/gone partition 8 0 -2\n"), "device-unknown:swaps");
        row("empty swap table", file("swaps", ""), "device-unknown:swaps");
        row("swap table that can't be read", file("swaps/", {}), "device-unknown:swaps");
    }
    void judgesADiskByWhatTheKernelTells()
    {
        QFETCH(const Tree, changes);
        const QTemporaryDir machine;
        struct stat status;
        QCOMPARE(stat(qPrintable(machine.path()), &status), 0);
        const dev_t disk = changes.contains(QStringLiteral("gone")) ? makedev(9, 9) : status.st_dev;
        makeMachine(machine.path(), status.st_dev, changes);
        const QString refusal =
            QString::fromStdString(refusalForDevice(disk, pathsOf(machine)).value_or(std::string()));
        QTEST(refusal, "refusal");
    }

    /// The table has to grow beyond the memory that is left.
    void refusesWhenMemoryEndsWithinATable()
    {
#if defined(__SANITIZE_ADDRESS__)
        QSKIP("a sanitizer needs all addresses");
#endif
        const QTemporaryDir machine;
        struct stat status;
        QCOMPARE(stat(qPrintable(machine.path()), &status), 0);
        const QByteArray line = "30 1 0:9 / /srv rw - tmpfs " + QByteArray(4'000'000, 'x') + " rw\n";
        makeMachine(machine.path(), status.st_dev,
                    {{QStringLiteral("mounts"), line + "31 1 DISK / / rw - ext4 /dev/x rw\n"}});
        const SystemPaths system = pathsOf(machine);
        const QByteArray size = fileContent(QStringLiteral("/proc/self/statm")).split(' ').first();
        const pid_t child = fork();
        if (child == 0) {
            const rlim_t bytes = size.toULongLong() * static_cast<rlim_t>(getpagesize()) + (2U << 20);
            const struct rlimit limit {
                bytes, bytes
            };
            setrlimit(RLIMIT_AS, &limit);
            try {
                _exit(refusalForDevice(status.st_dev, system) ? 0 : 1);
            } catch (const std::bad_alloc &) {
                _exit(0);
            }
        }
        int ended = -1;
        QCOMPARE(waitpid(child, &ended, 0), child);
        QVERIFY(WIFEXITED(ended));
        QCOMPARE(WEXITSTATUS(ended), 0);
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

    /// A loop device under the name of a card reader's disk, and root's own. Each row changes what the
    /// machine tells of it, in a name space of its own.
    void runsAsRootForACardAlone_data()
    {
        QTest::addColumn<QString>("setup"); // for a shell of root's
        QTest::addColumn<QString>("command"); // for one of nobody's, where "list" lists the card
        QTest::addColumn<int>("exitCode"); // -1: any refusal
        QTest::addColumn<QByteArray>("messages"); // what they begin with
        const auto row = [](const char *name, const char *setup, int exitCode, const char *messages = "",
                            const char *command = "list $node 104857600") {
            QTest::newRow(name) << QString::fromLatin1(setup) << QString::fromLatin1(command) << exitCode
                                << QByteArray(messages);
        };
        const char *const inUse = "ext4util:device-in-use\n";
        const char *const notAllowed = "ext4util:device-not-allowed\n";
        row("loop device", "umount /sys/dev/block", 2, "ext4util:device-virtual\n");
        row("other name", "", 2, notAllowed, "list $loop 104857600");
        row("other place", "", 2, notAllowed, "list $node 0");
        row("a right of the caller's own", "umount /sys/dev/block; chmod 644 $node", 0);
        row("card", "", 0);
        row("mounted by a desktop", "mount $node /mnt", 0);
        row("mounted for the system", "mount $node /opt", 2, inUse);
        row("file of it mounted as a disk", "mount $node /mnt; disk /mnt/disk.img", 2, inUse);
        row("a disk over it", "disk $node", 2, inUse);
        row("a disk over a disk over it", "disk $node; disk $disk", 2, inUse);
        row("swap on it", "echo Filename > t; echo $node partition 1 0 -2 >> t; mount --bind t /proc/swaps",
            2, inUse);
        row("swap that is hidden", "echo Filename > t; chmod 600 t; mount --bind t /proc/swaps", 2,
            "ext4util:device-unknown:swaps\n");
        row("disks that are hidden", "mount -t tmpfs -o mode=700 t /sys/block", 2,
            "ext4util:device-unknown:block\n");

        // A line of the mount table that is longer than any that a person makes, before that of the disk.
        const char *const longLine =
            "mount -t tmpfs t /mnt; cd /mnt; for i in $(seq 14); do d=$(printf '%250s' ''); mkdir \"$d\"; "
            "cd \"$d\"; done; mount -c -t tmpfs \"$(printf '%4000s' '')\" .; mount $node /opt";
        row("long line", longLine, 2, inUse);
        for (const char *limit : {"-v 6000", "-v 6250", "-v 6300", "-v 6350", "-v 6400", "-v 7000",
                                  "-v 20000", "-d 100", "-s 64", "-s 100", "-n 3", "-n 5", "-n 9", "-f 0"}) {
            const QByteArray command = QByteArray("ulimit ") + limit + "; list $node 104857600";
            row(limit, longLine, -1, "", command.constData());
        }
        row("own limit that is too low", "", 0, "", "ulimit -S -n 5; list $node 104857600");
        row("limit that is too low", "", 8, "ext4util:limits-too-low\n", "ulimit -n 5; list $node 104857600");
    }
    void runsAsRootForACardAlone()
    {
        QFETCH(const QString, setup);
        QFETCH(const QString, command);
        QFETCH(const int, exitCode);
        QFETCH(const QByteArray, messages);
        CardImage card({{QStringLiteral("a"), "content"}}, {{}, 8, 104857600});
        const QString tool = card.beside(QStringLiteral("tool"));
        if (!becomeHostOf(card, tool) || QFile::exists(QStringLiteral("/dev/sdzzyx")))
            QSKIP("no set-user-ID programs can be made here");
        const ProgramResult result =
            runProgram(QStringLiteral("unshare"),
                       {QStringLiteral("-m"), QStringLiteral("bash"), QStringLiteral("-c"),
                        QString::fromLatin1(machineScript), tool, card.beside({}), setup, command});
        if (result.exitCode == 77)
            QSKIP("no loop device or no device node here");
        QCOMPARE(result.output.contains(" a 7\n"), exitCode == 0);
        if (exitCode < 0)
            QVERIFY2(result.exitCode > 0 && result.exitCode < 128, QByteArray::number(result.exitCode));
        else
            QCOMPARE(result.exitCode, exitCode);
        QVERIFY2(result.messages.startsWith(messages), result.messages);
    }

    /// What it writes may go to a file whose kernel asks for the writer's rights.
    void speaksWithTheCallersRights()
    {
        CardImage card({});
        const QString tool = card.beside(QStringLiteral("tool"));
        if (!becomeHostOf(card, tool))
            QSKIP("no set-user-ID programs can be made here");
        const ProgramResult blocked = runProgram(
            QStringLiteral("bash"),
            {QStringLiteral("-c"),
             QStringLiteral(
                 "cd $0 && mkfifo full && exec 3<>full && dd if=/dev/zero bs=65536 count=1 >&3 || exit 1\n"
                 "setpriv --reuid=65534 --regid=65534 --clear-groups $1 2>&3 &\n"
                 "for i in $(seq 500); do sleep .01\n"
                 "  [ /proc/$!/exe -ef $1 ] && grep -q '^State:.S' /proc/$!/status && break\n"
                 "done; grep ^Uid /proc/$!/status; kill $!"),
             card.beside({}), tool});
        QCOMPARE(blocked.output.simplified(), QByteArray("Uid: 65534 65534 0 65534"));
    }
};

QTEST_GUILESS_MAIN(Ext4utilPrivilegesTest)
#include "tst_ext4util_privileges.moc"
