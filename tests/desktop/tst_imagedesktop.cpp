#include "desktop/imagedesktop.h"
#include "desktop/toollookup.h"

#include <QCoroTask>
#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

/// An image as the card, from its first report to its removal.
class ImageDesktopTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { m_folder = std::make_unique<QTemporaryDir>(); }
    void announcesTheImageOnceAfterStart();
    void followsTheFile();
    void handsOutPlainPathsOnly_data();
    void handsOutPlainPathsOnly();
    void grantsConsentWithoutTouchingAnything();
    void findsNoForeignTools();

private:
    QString makeImage(const QString &name)
    {
        const QString path = m_folder->filePath(name);
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write("card") != 4)
            qFatal("can't write the image");
        return path;
    }
    static ImageDiskWatcher &watcherOf(Desktop &desktop)
    {
        return *qobject_cast<ImageDiskWatcher *>(desktop.diskWatcher.get());
    }
    std::unique_ptr<QTemporaryDir> m_folder;
};

void ImageDesktopTest::announcesTheImageOnceAfterStart()
{
    const QString image = makeImage(u"card.img"_s);
    const auto desktop = makeImageDesktop(image, m_folder->path() + u'/');
    QList<DiskInfo> disks;
    connect(desktop->diskWatcher.get(), &DiskWatcher::appeared, this,
            [&](const DiskInfo &disk) { disks.append(disk); });
    QSignalSpy gone(desktop->diskWatcher.get(), &DiskWatcher::disappeared);
    QVERIFY(desktop->diskWatcher->start());
    QVERIFY(disks.isEmpty());
    QVERIFY(desktop->volumeList->listing().volumes.isEmpty());

    QTRY_COMPARE(disks.size(), 1);
    QCOMPARE(disks[0].devicePath, image);
    QVERIFY(disks[0].isRemovable && disks[0].isWhole);
    QCOMPARE(disks[0].model, std::optional(u"SD image"_s));
    const QList<Volume> volumes = desktop->volumeList->listing().volumes;
    QCOMPARE(volumes.size(), 1);
    QCOMPARE(volumes[0].name, u"NO NAME"_s);
    QCOMPARE(volumes[0].rootPath, m_folder->path());

    watcherOf(*desktop).eject();
    watcherOf(*desktop).eject();
    QCOMPARE(gone.size(), 1);
    QCOMPARE(gone[0][0].toString(), image);
    QVERIFY(desktop->volumeList->listing().volumes.isEmpty());
    watcherOf(*desktop).insert();
    QCOMPARE(disks.size(), 2);
}

void ImageDesktopTest::followsTheFile()
{
    const QString image = makeImage(u"card.img"_s);
    const auto desktop = makeImageDesktop(image, std::nullopt);
    QSignalSpy come(desktop->diskWatcher.get(), &DiskWatcher::appeared);
    QSignalSpy gone(desktop->diskWatcher.get(), &DiskWatcher::disappeared);
    QVERIFY(desktop->diskWatcher->start());
    QTRY_COMPARE(come.size(), 1);
    QVERIFY(QFile::rename(image, m_folder->filePath(u"other.img"_s)));
    QTRY_COMPARE(gone.size(), 1);
    QVERIFY(QFile::rename(m_folder->filePath(u"other.img"_s), image));
    QTRY_COMPARE(come.size(), 2);
}

void ImageDesktopTest::handsOutPlainPathsOnly_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("blank") << u"my card.img"_s;
    QTest::newRow("command") << u"a;touch b;$(c).img"_s;
    QTest::newRow("Korean") << u"사고 영상/블랙박스.img"_s;
    QTest::newRow("text that is replaced in device paths") << u"disk1/disk.img"_s;
}

void ImageDesktopTest::handsOutPlainPathsOnly()
{
    QFETCH(const QString, name);
    const QString image = makeImage(name);
    QString path;
    {
        const auto desktop = makeImageDesktop(image, std::nullopt);
        path = watcherOf(*desktop).devicePath();
        static const QRegularExpression plain(u"^[A-Za-z0-9/._-]+$"_s);
        QVERIFY2(plain.match(path).hasMatch() && !path.contains(u"/disk"), qPrintable(path));
        QCOMPARE(QFileInfo(path).canonicalFilePath(), QFileInfo(image).canonicalFilePath());
        QVERIFY(desktop->diskWatcher->start());
    }
    QVERIFY(!QFileInfo(QFileInfo(path).path()).exists());
    QVERIFY(QFileInfo::exists(image));
}

void ImageDesktopTest::grantsConsentWithoutTouchingAnything()
{
    const QString tool = makeImage(u"ext4util"_s);
    const auto before = QFile::permissions(tool);
    const auto desktop = makeImageDesktop(makeImage(u"card.img"_s), std::nullopt);
    QCOMPARE(QCoro::waitFor(desktop->consent->makeSetUserIdRoot(tool)), QString());
    QCOMPARE(QFile::permissions(tool), before);
}

void ImageDesktopTest::findsNoForeignTools()
{
    QCOMPARE(findBundledTool(u"no-such-tool"_s), QString());
    QVERIFY(findBundledTool(u"ffmpeg"_s).endsWith(u"/ffmpeg"));
    const DiskSpace space = diskSpaceOf(m_folder->path());
    QVERIFY(space.total > 0 && space.available <= space.total);
    QCOMPARE(diskSpaceOf(m_folder->filePath(u"missing"_s)).total, 0ull);
}

QTEST_GUILESS_MAIN(ImageDesktopTest)
#include "tst_imagedesktop.moc"
