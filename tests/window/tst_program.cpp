// The program as a process: its start, its end, and what passes between two of them.
#include <csignal>
#include <memory>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr int patienceMs = 30000;

/// A session bus of its own.
class SessionBus
{
public:
    SessionBus()
    {
        m_daemon.start(
            QStringLiteral("dbus-daemon"),
            {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
        if (m_daemon.waitForReadyRead(patienceMs))
            m_address = QString::fromLatin1(m_daemon.readLine().trimmed());
    }
    ~SessionBus()
    {
        m_daemon.kill();
        m_daemon.waitForFinished();
    }
    Q_DISABLE_COPY_MOVE(SessionBus)
    [[nodiscard]] const QString &address() const { return m_address; }

private:
    QProcess m_daemon;
    QString m_address;
};

/// One start of the program on a card image.
class Vornex
{
public:
    Vornex(const QString &home, const QString &bus, const QStringList &arguments)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char *folder : {"DATA_HOME", "CACHE_HOME", "CONFIG_HOME", "RUNTIME_DIR"}) {
            const QString path = home + u'/' + QLatin1String(folder);
            QDir().mkpath(path);
            QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
            environment.insert(QStringLiteral("XDG_") + QLatin1String(folder), path);
        }
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), bus);
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        m_process.setProcessEnvironment(environment);
        m_process.start(QStringLiteral(VORNEX_BIN_DIR "/vornex"), arguments);
    }
    ~Vornex()
    {
        m_process.kill();
        m_process.waitForFinished();
    }
    Q_DISABLE_COPY_MOVE(Vornex)

    [[nodiscard]] QProcess &process() { return m_process; }
    /// How often the log has the line, if it comes to that number soon.
    [[nodiscard]] bool logs(const QByteArray &line, qsizetype count = 1)
    {
        return QTest::qWaitFor(
            [&] {
                m_log += m_process.readAllStandardOutput();
                return m_log.count(line) >= count;
            },
            patienceMs);
    }
    [[nodiscard]] const QByteArray &log() const { return m_log; }
    [[nodiscard]] bool endsWith(int exitCode)
    {
        const bool hasEnded = m_process.state() == QProcess::NotRunning || m_process.waitForFinished();
        return hasEnded && m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == exitCode;
    }

private:
    QProcess m_process;
    QByteArray m_log;
};

const QByteArray attached = "[ContentView] SD Card Attached";
const QByteArray extracted = "[AppViewModel] loading completed";

} // namespace

class ProgramTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init() { m_home = std::make_unique<QTemporaryDir>(); }

    void runsOnAnImageWithoutComplaint_andEndsBySignal();
    void outlivesTheReaderOfItsLog();
    void secondStartGoesToTheFirst();
    void refusesWhatItCannotOpen();

private:
    [[nodiscard]] QStringList recordings() const
    {
        QStringList found;
        QDirIterator files(m_home->path(), {QStringLiteral("*.mp4")}, QDir::Files | QDir::Hidden,
                           QDirIterator::Subdirectories);
        while (files.hasNext())
            found.append(files.next());
        return found;
    }

    QTemporaryDir m_cards;
    QString m_image;
    SessionBus m_bus;
    std::unique_ptr<QTemporaryDir> m_home;
};

void ProgramTest::initTestCase()
{
    QVERIFY(!m_bus.address().isEmpty());
    m_image = m_cards.filePath(QStringLiteral("card.img"));
    const QStringList options{m_image,
                              QStringLiteral("--size"),
                              QStringLiteral("160M"),
                              QStringLiteral("--count"),
                              QStringLiteral("3"),
                              QStringLiteral("--seconds"),
                              QStringLiteral("2"),
                              QStringLiteral("--picture"),
                              QStringLiteral("160x96")};
    QCOMPARE(QProcess::execute(QStringLiteral(VORNEX_BIN_DIR "/samplecard"), options), 0);
}

void ProgramTest::runsOnAnImageWithoutComplaint_andEndsBySignal()
{
    Vornex vornex(m_home->path(), m_bus.address(), {QStringLiteral("--card"), m_image});
    QVERIFY(vornex.logs(extracted));
    QVERIFY(vornex.log().indexOf("[SDManager] startMonitoring") < vornex.log().indexOf(attached));
    QCOMPARE(recordings().size(), 3);
    vornex.process().terminate(); // nobody is asked, who could not answer at a session's end
    QVERIFY(vornex.endsWith(0));
    QCOMPARE(recordings(), QStringList());
    QCOMPARE(QString::fromUtf8(vornex.process().readAllStandardError()), QString());
}

void ProgramTest::outlivesTheReaderOfItsLog()
{
    Vornex vornex(m_home->path(), m_bus.address(), {QStringLiteral("--card"), m_image});
    QVERIFY(vornex.logs("[SDManager] startMonitoring"));
    vornex.process().closeReadChannel(QProcess::StandardOutput);
    QTRY_COMPARE_WITH_TIMEOUT(recordings().size(), 3, patienceMs); // with a line for each
    vornex.process().terminate();
    QVERIFY(vornex.endsWith(0));
}

void ProgramTest::secondStartGoesToTheFirst()
{
    const QString other = m_cards.filePath(QStringLiteral("other.img"));
    QVERIFY(QFile::link(m_image, other));
    Vornex first(m_home->path(), m_bus.address(), {QStringLiteral("--card"), m_image});
    QVERIFY(first.logs(extracted));
    for (const QStringList &arguments : {QStringList(), {QStringLiteral("--card"), m_image}}) {
        Vornex second(m_home->path(), m_bus.address(), arguments);
        QVERIFY(second.endsWith(0));
    }
    QCOMPARE(recordings().size(), 3); // the first one's
    QVERIFY(first.logs(attached, 1));
    QCOMPARE(first.log().count(attached), 1);

    Vornex third(m_home->path(), m_bus.address(),
                 {QStringLiteral("--card"), other, QStringLiteral("--volume"), m_cards.path()});
    QVERIFY(third.endsWith(0));
    QVERIFY(third.process().readAllStandardError().contains("--volume"));
    QVERIFY(first.logs(attached, 2));
    QVERIFY(first.logs(extracted, 2));

    first.process().terminate();
    QVERIFY(first.endsWith(0));
    Vornex next(m_home->path(), m_bus.address(), {QStringLiteral("--card"), m_image});
    QVERIFY(next.logs(extracted));
}

void ProgramTest::refusesWhatItCannotOpen()
{
    Vornex vornex(m_home->path(), m_bus.address(), {QStringLiteral("--card"), QStringLiteral("/nowhere")});
    QVERIFY(vornex.endsWith(2));
    QVERIFY(vornex.process().readAllStandardError().contains("/nowhere"));
}

QTEST_GUILESS_MAIN(ProgramTest)
#include "tst_program.moc"
