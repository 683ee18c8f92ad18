#include "common/preferences.h"
#include "engine/decoder.h"
#include "engine/moviefile.h"
#include "engine/sounddecodethread.h"
#include "playback/multitrackplayer.h"
#include "sampleclips.h"
#include "support/framestrip.h"

#include <cmath>
#include <QCoroTask>
#include <QDeadlineTimer>
#include <QTest>
#include <QTimer>
#include <random>

using namespace std::chrono_literals;

namespace {

constexpr int channels = 4;
constexpr int seconds = 8;
constexpr int frames = seconds * 30;
constexpr const char *withoutReordering = "-c:v libx264 -preset superfast -x264-params keyint=30:bframes=0";
constexpr const char *withReordering =
    "-c:v libx264 -preset superfast -x264-params keyint=60:bframes=3:b-pyramid=normal:scenecut=0";

bool isLong() { return qEnvironmentVariableIntValue("VORNEX_LONG") > 0; }

QStringList words(const char *text) { return QString::fromUtf8(text).split(u' ', Qt::SkipEmptyParts); }

int frameOf(const TrackPlayerPtr &player)
{
    const VideoFramePtr frame = player->latestFrame();
    if (!frame)
        return -1;
    const PicturePlane &plane = frame->planes[0];
    const auto strip = readFrameStrip(
        QImage(plane.data, plane.size.width(), plane.size.height(), plane.stride, QImage::Format_Grayscale8));
    return strip ? strip->frameNumber : -1;
}

/// Without the pauses of QTRY_VERIFY, which would be minutes in all.
template <typename Condition> bool waitUntil(Condition isMet)
{
    const QDeadlineTimer deadline(10s);
    QTimer wake;
    wake.start(10);
    while (!isMet() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return isMet();
}

class Dice
{
public:
    int below(int limit) { return static_cast<int>(m_random() % static_cast<unsigned>(limit)); }

private:
    std::minstd_rand m_random;
};

} // namespace

/// Seeks as people make them: some milliseconds apart, so that the decoders run in between. On the real
/// clock.
class SeekingTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_clips = std::make_unique<SampleClips>(channels, seconds, QSize(640, 360)); }
    void theLaterOfTwoSeeksIsShown_data();
    void theLaterOfTwoSeeksIsShown();
    void theLaterOfTwoSeeksIsHeard();
    void channelsStayTogetherAfterHastyKeys();

private:
    QString clip(const char *name, const char *tracks, const char *options)
    {
        return m_clips->remade(QLatin1StringView(name), words(tracks) + words(options));
    }

    std::unique_ptr<SampleClips> m_clips;
};

void SeekingTest::theLaterOfTwoSeeksIsShown_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("pairs");
    QTest::newRow("one channel") << clip("one.mp4", "-map 0:v:0", withoutReordering) << 150;
    QTest::newRow("four channels with B-frames") << clip("four_b.mp4", "-map 0:v", withReordering) << 80;
    if (!isLong())
        return;
    QTest::newRow("one channel with B-frames") << clip("one_b.mp4", "-map 0:v:0", withReordering) << 150;
    QTest::newRow("four channels") << clip("four.mp4", "-map 0:v", withoutReordering) << 150;
}

void SeekingTest::theLaterOfTwoSeeksIsShown()
{
    QFETCH(const QString, path);
    QFETCH(const int, pairs);
    const OpenedMovie opened = QCoro::waitFor(openMovie(path));
    QVERIFY2(opened.movie, qPrintable(opened.error.text));
    TrackPlayerList players;
    for (const TrackInfo &track : opened.movie->tracks())
        players.append(QCoro::waitFor(opened.movie->makePlayer(track)).player);

    Dice dice;
    quint64 serial = 0;
    const auto seek = [&](int frame) {
        serial++;
        for (const TrackPlayerPtr &player : std::as_const(players))
            player->seek((frame + 0.5) / SampleClips::framesPerSecond, SeekTolerance::Exact);
    };
    QStringList wrong;
    for (int pair = 0; pair < (isLong() ? 1000 : pairs); ++pair) {
        seek(dice.below(frames));
        QTest::qWait(dice.below(isLong() ? 60 : 12)); // of small pictures a seek takes few
        const int target = dice.below(frames);
        seek(target);
        for (const TrackPlayerPtr &player : std::as_const(players)) {
            QVERIFY(
                waitUntil([&] { return player->latestFrame() && player->latestFrame()->serial == serial; }));
            if (frameOf(player) != target)
                wrong.append(QStringLiteral("%1 for %2").arg(frameOf(player)).arg(target));
        }
    }
    QCOMPARE(wrong, QStringList());
}

/// The sample recordings click at each whole second.
void SeekingTest::theLaterOfTwoSeeksIsHeard()
{
    constexpr int rate = 48000;
    MovieError error;
    const auto source = MovieSource::open(m_clips->plain(), &error);
    const std::shared_ptr<TrackReader> reader = TrackReader::open(source, channels, &error);
    QVERIFY2(reader, qPrintable(error.text));
    QAudioFormat format;
    format.setSampleRate(rate);
    format.setChannelCount(1);
    format.setSampleFormat(QAudioFormat::Float);
    const auto queue = std::make_shared<SoundQueue>(rate, format.bytesPerFrame());
    SoundDecodeThread thread(reader, openDecoder(*reader, &error), format, queue, [] {});

    Dice dice;
    for (int pair = 0; pair < (isLong() ? 1000 : 60); ++pair) {
        thread.seek(std::chrono::milliseconds(dice.below(1000 * seconds)));
        QTest::qWait(dice.below(5));
        const int before = dice.below(60); // milliseconds
        const auto target = std::chrono::milliseconds(1000 * (1 + dice.below(seconds - 1)) - before);
        thread.seek(target);
        QVERIFY(waitUntil([&] { return thread.state().isReady; }));
        queue->dropBefore(target);
        std::vector<float> samples(rate / 10);
        const auto size = static_cast<qint64>(samples.size() * sizeof(float));
        QCOMPARE(queue->read(reinterpret_cast<char *>(samples.data()), size), size);
        const auto isLoud = [](float sample) { return std::abs(sample) > 0.2F; };
        const auto click = std::find_if(samples.begin(), samples.end(), isLoud) - samples.begin();
        const auto early = before - click * 1000 / rate;
        QVERIFY2(std::abs(early) < 10, qPrintable(QString::number(early)));
    }
}

/// Right, Right, Left on a playing recording. Channels that were late catch up when it is paused.
void SeekingTest::channelsStayTogetherAfterHastyKeys()
{
    QTemporaryDir folder;
    Preferences preferences(folder.filePath(QStringLiteral("preferences.ini")));
    MultiTrackPlayer player(openMovie, preferences);
    const QString path = clip("four_b.mp4", "-map 0:v", withReordering);
    QCOMPARE(QCoro::waitFor(player.loadTracks(QUrl::fromLocalFile(path))), std::nullopt);
    Dice dice;
    int apart = 0;
    for (int round = 0; round < (isLong() ? 80 : 6); ++round) {
        player.seek(dice.below(30) / 100.0);
        player.play();
        QTest::qWait(100 + dice.below(200));
        for (const double step : {2.0, 2.0, -2.0}) {
            QTest::qWait(30 + dice.below(30));
            player.seek(player.progress() + step / seconds);
        }
        QTest::qWait(isLong() ? 1000 : 300);
        player.pause();
        const auto isAtPosition = [&](const TrackPlayerPtr &channel) {
            const double frame = player.currentTime() * SampleClips::framesPerSecond - 0.5;
            return std::abs(frameOf(channel) - frame) < 0.6;
        };
        const bool areTogether = waitUntil([&] {
            return std::all_of(player.videoPlayers().begin(), player.videoPlayers().end(), isAtPosition);
        });
        apart += areTogether ? 0 : 1;
    }
    QCOMPARE(apart, 0);
}

QTEST_GUILESS_MAIN(SeekingTest)
#include "tst_seeking.moc"
