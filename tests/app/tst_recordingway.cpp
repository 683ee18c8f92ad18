#include "app/session/appviewmodel.h"
#include "card/processvalues.h"
#include "card/sdmanager.h"
#include "common/preferences.h"
#include "desktop/imagedesktop.h"
#include "engine/moviefile.h"
#include "support/framestrip.h"
#include "support/logcapture.h"
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
    void playsEveryRecordingOfACard();
    void hopelessRecordingGivesTheAlertAndTheNextClickWorks();
    void playsWithoutSound();
    void goesOnWithTheNextNewerRecording();

private:
    void makeCard(const QStringList &options);
    void insertCard();
    [[nodiscard]] QString extracted(int row) const
    {
        return processvalues::tempRoot() + m_model->filtered().at(row).cardPath();
    }
    [[nodiscard]] std::optional<FrameStrip> stripOf(int channel) const;

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
    makeCard({QStringLiteral("--count"), QStringLiteral("6"), QStringLiteral("--channels"),
              QStringLiteral("2,3"), QStringLiteral("--unfinished"), QStringLiteral("1"),
              QStringLiteral("--damaged-sets"), QStringLiteral("2")});
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

/// What the channel shows; none before its first picture.
std::optional<FrameStrip> RecordingWayTest::stripOf(int channel) const
{
    const VideoFramePtr frame = m_model->videoPlayers().at(channel)->latestFrame();
    if (!frame)
        return std::nullopt;
    const PicturePlane &luma = frame->planes[0];
    return readFrameStrip(
        QImage(luma.data, luma.size.width(), luma.size.height(), luma.stride, QImage::Format_Grayscale8));
}

void RecordingWayTest::playsEveryRecordingOfACard()
{
    QStringList messages;
    const QObject context;
    connect(m_model.get(), &AppViewModel::procMessageChanged, &context,
            [&] { messages.append(m_model->procMessage().value_or(QString())); });
    int repaired = 0;
    for (int row = 0; row < m_model->fileCount(); ++row) {
        const QString full = extracted(row);
        messages.clear();
        LogCapture log;
        QCoro::waitFor(m_model->selectIndex(row));
        QCOMPARE(m_model->alertMessage(), std::optional<QString>());
        const bool isRepaired = !messages.isEmpty();
        repaired += isRepaired ? 1 : 0;
        QVERIFY(isRepaired || !full.contains(u".mov"));
        if (isRepaired) {
            QCOMPARE(messages,
                     QStringList({QStringLiteral("영상을 복구 중입니다. 잠시만 기다려주세요."), QString()}));
            QVERIFY(!log.lines().filter(QStringLiteral("recoverMp4: channel 2: ")).isEmpty());
        }

        const auto described = QCoro::waitFor(m_model->procManager().getVideoInfo(full));
        QCOMPARE(m_model->videoPlayers().size(), described->size());
        QVERIFY(m_model->playerManager()->audioPlayer());
        const double seconds = m_model->playerManager()->duration();
        QVERIFY2(std::abs(seconds - 2.0) < (isRepaired ? 0.2 : 0.1), qPrintable(QString::number(seconds)));
        // In the middle each channel shows its own picture of that time.
        m_model->playerManager()->pause();
        m_model->playerManager()->seek(0.5);
        for (int channel = 0; channel < m_model->videoPlayers().size(); ++channel) {
            const auto hasArrived = [&] {
                const VideoFramePtr frame = m_model->videoPlayers().at(channel)->latestFrame();
                return frame && std::abs(frame->seconds - seconds / 2) < 0.05;
            };
            QTRY_VERIFY(hasArrived());
            const auto strip = stripOf(channel);
            QVERIFY(strip);
            QCOMPARE(strip->channel, channel + 1);
            QVERIFY2(std::abs(strip->frameNumber - seconds / 2 * 30) < 2,
                     qPrintable(QString::number(strip->frameNumber)));
        }
        const QDir folder(QFileInfo(full).path());
        QCOMPARE(folder.entryList({QStringLiteral("temp*")}), QStringList());
        QVERIFY(folder.exists(QStringLiteral("playing.mp4")));
        m_model->playerManager()->stop();
    }
    QCOMPARE(repaired, 3);
}

void RecordingWayTest::hopelessRecordingGivesTheAlertAndTheNextClickWorks()
{
    writeFile(extracted(1), "DAT00018vid:[1]1280.720.30" + QByteArray(100'000, '\x5a'));
    QCoro::waitFor(m_model->selectIndex(1));
    QCOMPARE(m_model->alertMessage(),
             std::optional(QStringLiteral("영상 파일이 손상되어 정상적으로 재생할 수 없습니다.")));
    QCOMPARE(m_model->procMessage(), std::optional<QString>());
    QVERIFY(!m_model->playerManager()->isPlaying());
    QCOMPARE(m_model->selectedIndex(), std::optional(1));
    m_model->setAlertMessage(std::nullopt);
    QCoro::waitFor(m_model->selectIndex(0));
    QVERIFY(m_model->playerManager()->isPlaying());
    QCOMPARE(m_model->alertMessage(), std::optional<QString>());
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
