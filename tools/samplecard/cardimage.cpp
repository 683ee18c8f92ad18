#include "cardimage.h"

#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QUuid>

namespace {

constexpr qint64 partitionStart = 1 << 20; // bytes
constexpr int sectorSize = 512;
constexpr int ext4BlockSize = 4096;

QString findTool(const QString &name)
{
    const QString inPath = QStandardPaths::findExecutable(name);
    // The system's own tools are not in an ordinary user's search path.
    return inPath.isEmpty()
        ? QStandardPaths::findExecutable(name, {QStringLiteral("/usr/sbin"), QStringLiteral("/sbin")})
        : inPath;
}

Failure run(const QString &name, const QStringList &arguments, const QDateTime &clock,
            const QByteArray &input = {})
{
    const QString tool = findTool(name);
    if (tool.isEmpty())
        return QStringLiteral("%1 is not installed").arg(name);
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("E2FSPROGS_FAKE_TIME"), QString::number(clock.toSecsSinceEpoch()));
    environment.insert(QStringLiteral("SOURCE_DATE_EPOCH"), QString::number(clock.toSecsSinceEpoch()));
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(tool, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(-1) || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0)
        return QStringLiteral("%1 failed: %2").arg(name, QString::fromLocal8Bit(process.readAll()).trimmed());
    return {};
}

Failure copyInto(const QString &from, const QString &image, qint64 offset)
{
    QFile source(from);
    QFile target(image);
    if (!source.open(QIODevice::ReadOnly) || !target.open(QIODevice::ReadWrite))
        return QStringLiteral("cannot open %1").arg(source.isOpen() ? image : from);
    const QByteArray zeros(1 << 20, '\0');
    for (qint64 at = 0; !source.atEnd();) {
        const QByteArray piece = source.read(zeros.size());
        if (piece != zeros && (!target.seek(offset + at) || target.write(piece) != piece.size()))
            return QStringLiteral("cannot write %1: %2").arg(image, target.errorString());
        at += piece.size();
    }
    return {};
}

Failure makeFat(const CardImageSetup &setup)
{
    const qint64 start = setup.isPartitioned ? partitionStart : 0;
    const QString volume = setup.image + QStringLiteral(".fat");
    QStringList arguments{QStringLiteral("-F"),
                          QStringLiteral("16"),
                          QStringLiteral("--invariant"),
                          QStringLiteral("-i"),
                          QString::asprintf("%08x", 0x5ca0000U + setup.seed % 0xffff),
                          QStringLiteral("-h"),
                          QString::number(start / sectorSize)};
    if (setup.fatLabel)
        arguments << QStringLiteral("-n") << *setup.fatLabel;
    arguments << QStringLiteral("-C") << volume << QString::number((ext4Offset - start) / 1024);
    if (Failure failed = run(QStringLiteral("mkfs.vfat"), arguments, setup.made))
        return failed;
    if (Failure failed = copyInto(volume, setup.image, start))
        return failed;
    QFile::remove(volume);
    return {};
}

Failure makePartitionTable(const CardImageSetup &setup)
{
    const QByteArray script =
        "label: dos\nlabel-id: 0x5ca4d000\nstart=" + QByteArray::number(partitionStart / sectorSize)
        + ",size=" + QByteArray::number((ext4Offset - partitionStart) / sectorSize) + ",type=6\n";
    return run(QStringLiteral("sfdisk"),
               {QStringLiteral("--no-reread"), QStringLiteral("--no-tell-kernel"), setup.image}, setup.made,
               script);
}

Failure makeExt4(const CardImageSetup &setup)
{
    const QUuid uuid(0x5ca4dca2, 0, 0x4000, 0x80, 0, 0, 0, uchar(setup.seed >> 24), uchar(setup.seed >> 16),
                     uchar(setup.seed >> 8), uchar(setup.seed));
    const QString id = uuid.toString(QUuid::WithoutBraces);
    return run(QStringLiteral("mke2fs"),
               {QStringLiteral("-q"), QStringLiteral("-F"), QStringLiteral("-t"), QStringLiteral("ext4"),
                QStringLiteral("-b"), QString::number(ext4BlockSize), QStringLiteral("-U"), id,
                QStringLiteral("-E"),
                QStringLiteral("offset=%1,hash_seed=%2,lazy_itable_init=1,root_owner=0:0,nodiscard")
                    .arg(ext4Offset)
                    .arg(id),
                setup.image, QString::number((setup.bytes - ext4Offset) / ext4BlockSize)},
               setup.made);
}

} // namespace

Failure makeCardImage(const CardImageSetup &setup)
{
    QFile image(setup.image);
    if (!image.open(QIODevice::WriteOnly) || !image.resize(setup.bytes))
        return QStringLiteral("cannot make %1: %2").arg(setup.image, image.errorString());
    image.close();
    if (setup.isPartitioned)
        if (Failure failed = makePartitionTable(setup))
            return failed;
    if (Failure failed = makeFat(setup))
        return failed;
    return makeExt4(setup);
}
