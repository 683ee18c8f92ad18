#include "app/state/appviewmodel.h"
#include "card/sdmanager.h"
#include "common/preferences.h"
#include "common/processvalues.h"
#include "desktop/imagedesktop.h"
#include "engine/moviefile.h"
#include "support/privatehome.h"

#include <QCoroTask>
#include <QDir>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

/// From a card image through the real tools to moving pictures.
class RecordingWayTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void playsFromCardToFrames();
    void tellsDamagedRecordings_data();
    void tellsDamagedRecordings();
    void playsWithoutSound();
    void goesOnWithTheNextNewerRecording();

private:
    void makeCard(const QStringList &options);
    void insertCard();

    PrivateHome m_home;
    QString m_image;
    std::unique_ptr<Desktop> m_desktop;
    std::unique_ptr<Preferences> m_preferences;
    std::unique_ptr<AppViewModel> m_model;
    std::unique_ptr<SDManager> m_sdManager;
};

void RecordingWayTest::initTestCase()
{
    m_image = m_home.folder.filePath(QStringLiteral("card.img"));
    m_preferences = std::make_unique<Preferences>(m_home.folder.filePath(QStringLiteral("preferences")));
    makeCard({QStringLiteral("--count"), QStringLiteral("8"), QStringLiteral("--channels"),
              QStringLiteral("1,2"), QStringLiteral("--unfinished"), QStringLiteral("1"),
              QStringLiteral("--damaged-sets"), QStringLiteral("1")});
    insertCard();
}

void RecordingWayTest::makeCard(const QStringList &options)
{
    const QStringList size{m_image,
                           QStringLiteral("--size"),
                           QStringLiteral("160M"),
                           QStringLiteral("--seconds"),
                           QStringLiteral("2"),
                           QStringLiteral("--picture"),
                           QStringLiteral("160x96")};
    QCOMPARE(QProcess::execute(QStringLiteral(VORNEX_BIN_DIR "/samplecard"), size + options), 0);
}

void RecordingWayTest::insertCard()
{
    m_sdManager.reset();
    m_model.reset();
    processvalues::setCardDevicePath(std::nullopt);
    m_desktop = makeImageDesktop(m_image, std::nullopt);
    m_model = std::make_unique<AppViewModel>(
        *m_desktop, [](QString path) { return openMovie(std::move(path)); }, *m_preferences);
    m_sdManager = std::make_unique<SDManager>(*m_desktop->diskWatcher);
    QVERIFY(QCoro::waitFor(m_model->procManager().setup()));
    m_sdManager->startMonitoring();
    QTRY_VERIFY(m_sdManager->detectedDisk());
    m_model->loadFileList();
    const auto isRead = [](const FileListItem &item) { return item.read == item.size && item.size > 0; };
    QTRY_VERIFY_WITH_TIMEOUT(
        m_model->fileCount() > 0
            && std::all_of(m_model->fileList().cbegin(), m_model->fileList().cend(), isRead),
        30'000);
    QCoro::waitFor(m_model->applyFilter(QStringLiteral("all")));
    QCOMPARE(m_model->filtered().size(), m_model->fileCount());
}

void RecordingWayTest::playsFromCardToFrames()
{
    for (int row = 0; row < m_model->fileCount(); ++row) {
        if (m_model->filtered().at(row).name.endsWith(u".mov"))
            continue;
        m_model->setAlertMessage(std::nullopt);
        QCoro::waitFor(m_model->selectIndex(row));
        if (m_model->alertMessage()) // the one whose parameter sets are damaged
            continue;
        const QString full = processvalues::tempRoot() + m_model->filtered().at(row).cardPath();
        QCOMPARE(m_model->videoPlayers().size(), QCoro::waitFor(m_model->getVideoCount(full)));
        QCOMPARE(QCoro::waitFor(m_model->getAudioCount(full)), 1);
        QVERIFY(m_model->playerManager()->audioPlayer());
        QVERIFY(std::abs(m_model->playerManager()->duration() - 2.0) < 0.2);
        for (const TrackPlayerPtr &player : m_model->videoPlayers())
            QTRY_VERIFY(player->latestFrame());
        QTRY_VERIFY(m_model->playerManager()->currentTime() > 0);
        QVERIFY(!QFileInfo::exists(QFileInfo(full).path() + QStringLiteral("/temp.mp4")));
        QVERIFY(QFileInfo::exists(QFileInfo(full).path() + QStringLiteral("/playing.mp4")));
        m_model->playerManager()->stop();
    }
}

void RecordingWayTest::tellsDamagedRecordings_data()
{
    QTest::addColumn<bool>("isUnfinished");
    QTest::newRow("unfinished") << true;
    QTest::newRow("damaged parameter sets") << false;
}

void RecordingWayTest::tellsDamagedRecordings()
{
    QFETCH(const bool, isUnfinished);
    int damaged = 0;
    for (int row = 0; row < m_model->fileCount(); ++row) {
        if (m_model->filtered().at(row).name.endsWith(u".mov") != isUnfinished)
            continue;
        QCoro::waitFor(m_model->selectIndex(row));
        if (!m_model->alertMessage())
            continue;
        ++damaged;
        QVERIFY(!m_model->playerManager()->isPlaying());
        QCOMPARE(m_model->selectedIndex(), std::optional(row));
        m_model->setAlertMessage(std::nullopt);
    }
    QCOMPARE(damaged, 1);
}

void RecordingWayTest::goesOnWithTheNextNewerRecording()
{
    makeCard(
        {QStringLiteral("--count"), QStringLiteral("2"), QStringLiteral("--channels"), QStringLiteral("1")});
    insertCard();
    QCoro::waitFor(m_model->selectIndex(1));
    QTRY_COMPARE_WITH_TIMEOUT(m_model->selectedIndex(), std::optional(0), 20'000);
    QTRY_VERIFY(m_model->playerManager()->isPlaying());
    QTRY_VERIFY_WITH_TIMEOUT(!m_model->playerManager()->isPlaying(), 20'000);
    QCOMPARE(m_model->playerManager()->progress(), 1.0);
    QCOMPARE(m_model->selectedIndex(), std::optional(0));
}

void RecordingWayTest::playsWithoutSound()
{
    makeCard({QStringLiteral("--count"), QStringLiteral("1"), QStringLiteral("--channels"),
              QStringLiteral("2"), QStringLiteral("--no-sound")});
    insertCard();
    QCoro::waitFor(m_model->selectIndex(0));
    QCOMPARE(m_model->alertMessage(), std::optional<QString>());
    QVERIFY(!m_model->playerManager()->audioPlayer());
    QCOMPARE(m_model->videoPlayers().size(), 2);
    // The file that plays has been deleted under the player.
    const QString folder = QFileInfo(processvalues::tempRoot() + m_model->filtered().at(0).cardPath()).path();
    QVERIFY(!QFileInfo::exists(folder + QStringLiteral("/temp.mp4")));
    m_model->playerManager()->seek(0.5);
    for (const TrackPlayerPtr &player : m_model->videoPlayers())
        QTRY_VERIFY(player->latestFrame() && player->latestFrame()->seconds > 0.9);
}

QTEST_GUILESS_MAIN(RecordingWayTest)
#include "tst_recordingway.moc"
