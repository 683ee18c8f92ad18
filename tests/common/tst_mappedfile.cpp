#include "common/mappedfile.h"

#include <csignal>
#include <fcntl.h>
#include <numeric>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <sys/mman.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr int pages = 64;

qint64 pageSize() { return sysconf(_SC_PAGESIZE); }

quint64 sumOf(std::span<const std::uint8_t> bytes)
{
    return std::accumulate(bytes.begin(), bytes.end(), quint64{0});
}

/// Looks at a page of a file that isn't there any more and that nobody guards.
int faultUnguarded(const QString &path)
{
    const auto guarded = MappedFile::open(QFile::encodeName(path).constData());
    const int descriptor = open(QFile::encodeName(path).constData(), O_RDWR);
    void *bare = mmap(nullptr, size_t(pageSize()), PROT_READ, MAP_PRIVATE, descriptor, 0);
    if (!guarded || bare == MAP_FAILED || ftruncate(descriptor, 0) != 0 || sumOf(guarded->bytes()) != 0)
        return 2;
    return *static_cast<volatile char *>(bare);
}

volatile std::sig_atomic_t foreignSignals = 0;

/// A handler that was there before the first mapping gets what isn't ours.
int sendToEarlierHandler(const QString &path)
{
    struct sigaction action {
    };
    action.sa_handler = [](int) { foreignSignals = foreignSignals + 1; };
    sigaction(SIGBUS, &action, nullptr);
    const auto guarded = MappedFile::open(QFile::encodeName(path).constData());
    raise(SIGBUS);
    return guarded && foreignSignals == 1 ? 0 : 1;
}

} // namespace

class MappedFileTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    QString write(const QByteArray &bytes)
    {
        QFile file(m_folder.filePath(QStringLiteral("file")));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            qFatal("no temporary file");
        return file.fileName();
    }
    QString writeOnes() { return write(QByteArray(pages * pageSize(), 1)); }
    static std::optional<MappedFile> map(const QString &path)
    {
        return MappedFile::open(QFile::encodeName(path).constData());
    }

private Q_SLOTS:
    void showsAFilesBytesAndRefusesWhatIsNone()
    {
        const auto odd = map(write("abc"));
        QVERIFY(odd);
        QCOMPARE(
            QByteArray(reinterpret_cast<const char *>(odd->bytes().data()), qsizetype(odd->bytes().size())),
            QByteArray("abc"));
        QVERIFY(!odd->hasShrunk());
        const auto empty = map(write({}));
        QVERIFY(empty && empty->bytes().empty() && !empty->hasShrunk());
        QVERIFY(!map(m_folder.filePath(QStringLiteral("missing"))));
        QVERIFY(!map(m_folder.path()));
        const QString pipe = m_folder.filePath(QStringLiteral("pipe"));
        QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        QVERIFY(!map(pipe));
    }

    void aShrunkenFileReadsAsZeros()
    {
        const QString path = writeOnes();
        const auto file = map(path);
        const auto other = map(path);
        QVERIFY(file && other);
        QVERIFY(QFile::resize(path, 3 * pageSize()));
        QCOMPARE(sumOf(file->bytes().first(size_t(3 * pageSize()))), quint64(3 * pageSize()));
        QVERIFY(!file->hasShrunk());
        QCOMPARE(sumOf(file->bytes()), quint64(3 * pageSize()));
        QVERIFY(file->hasShrunk());
        QVERIFY(!other->hasShrunk());
        file->populate(0, file->bytes().size());
        file->release(0, file->bytes().size());
        QCOMPARE(sumOf(file->bytes()), quint64(3 * pageSize()));
    }

    void shrinksUnderSeveralThreads()
    {
        for (int round = 0; round < 20; ++round) {
            const QString path = writeOnes();
            auto file = map(path);
            QVERIFY(file);
            std::atomic<bool> isTruncated = false;
            std::array<quint64, 2> sums{};
            std::array<std::jthread, 2> readers;
            for (size_t i = 0; i < readers.size(); ++i) {
                readers[i] = std::jthread([&, i] {
                    do
                        sums[i] = sumOf(file->bytes());
                    while (!isTruncated);
                    sums[i] = sumOf(file->bytes());
                });
            }
            QVERIFY(QFile::resize(path, 0));
            isTruncated = true;
            for (std::jthread &reader : readers)
                reader.join();
            QCOMPARE(sums, (std::array<quint64, 2>{}));
            QVERIFY(file->hasShrunk());
            // The guard's place is used again by the next round, without the old mark.
            const MappedFile moved = std::move(*file);
            QVERIFY(moved.hasShrunk());
        }
    }

    void populatesAndReleasesPartsOfAnySize()
    {
        const auto file = map(writeOnes());
        QVERIFY(file);
        const size_t size = file->bytes().size();
        const std::pair<size_t, size_t> ranges[] = {{0, 0},    {0, size}, {1, size},       {size - 1, 1},
                                                    {size, 1}, {5000, 1}, {5000, SIZE_MAX}};
        for (const auto &[offset, length] : ranges) {
            file->populate(offset, length);
            file->release(offset, length);
            QCOMPARE(sumOf(file->bytes()), quint64{size});
        }
        QVERIFY(!file->hasShrunk());
    }

    void refusesMoreThanItCanGuard()
    {
        const QString path = writeOnes();
        std::vector<MappedFile> files;
        while (auto file = map(path))
            files.push_back(std::move(*file));
        QCOMPARE(files.size(), size_t{64});
        files.pop_back();
        QVERIFY(map(path));
    }

    void foreignBusErrorsKeepTheirWay_data()
    {
        QTest::addColumn<QString>("way");
        QTest::addColumn<bool>("survives");
        QTest::newRow("a fault elsewhere ends the program") << QStringLiteral("--fault-unguarded") << false;
        QTest::newRow("the handler before ours") << QStringLiteral("--earlier-handler") << true;
    }
    void foreignBusErrorsKeepTheirWay()
    {
        QFETCH(const QString, way);
        QFETCH(const bool, survives);
        QProcess child;
        child.start(QCoreApplication::applicationFilePath(), {way, writeOnes()});
        QVERIFY(child.waitForFinished());
        // A sanitizer reports the signal by an exit status of its own.
        const bool isWell = child.exitStatus() == QProcess::NormalExit && child.exitCode() == 0;
        QCOMPARE(isWell, survives);
        QVERIFY(child.exitCode() != 2 || child.exitStatus() == QProcess::CrashExit);
    }
};

int main(int argc, char **argv)
{
    if (argc == 3 && qstrcmp(argv[1], "--fault-unguarded") == 0)
        return faultUnguarded(QString::fromLocal8Bit(argv[2]));
    if (argc == 3 && qstrcmp(argv[1], "--earlier-handler") == 0)
        return sendToEarlierHandler(QString::fromLocal8Bit(argv[2]));
    const QCoreApplication application(argc, argv);
    MappedFileTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_mappedfile.moc"
