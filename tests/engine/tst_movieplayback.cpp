#include "engine/moviefile.h"
#include "engine/movietimeline.h"
#include "sampleclips.h"
#include "support/framestrip.h"
#include "support/manualclock.h"

#include <cmath>
#include <QCoroTask>
#include <QFile>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>
#include <random>

using namespace std::chrono_literals;

namespace {

QStringList words(const char *text) { return QString::fromUtf8(text).split(u' ', Qt::SkipEmptyParts); }

QImage brightnessOf(const VideoFrame &frame)
{
    const PicturePlane &plane = frame.planes[0];
    return QImage(plane.data, plane.size.width(), plane.size.height(), plane.stride,
                  QImage::Format_Grayscale8);
}

/// The channel times 1000 plus the frame's number, or -1.
int markOf(const TrackPlayerPtr &player)
{
    const VideoFramePtr frame = player->latestFrame();
    const auto strip = frame ? readFrameStrip(brightnessOf(*frame)) : std::nullopt;
    return strip ? strip->channel * 1000 + strip->frameNumber : -1;
}

} // namespace

/// Real recordings through the engine, with a clock moved by hand. There is no sound device.
class MoviePlaybackTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_clips = std::make_unique<SampleClips>(); }
    void cleanup();
    void seeksExactly_data();
    void seeksExactly();
    void aPictureIsShownUntilTheNextOne();
    void playsEachFrameWhenItIsDue();
    void channelsStartTogetherWhateverTheirOffset();
    void onlyTheNewestSeekCounts();
    void reportsEachTenthAndAroundCommands();
    void endsOnceAndPlaysAgainOnlyAfterASeek();
    void endsWhereTruncatedDataEnds();
    void lateChannelHoldsNobodyForLong();
    void playsAFileThatIsGone();
    void describesPictures_data();
    void describesPictures();
    void leavesOutTracksThatCannotBePlayed();
    void refusesWhatIsNoMovie_data();
    void refusesWhatIsNoMovie();
    void survivesDamage_data();
    void survivesDamage();

private:
    enum class Sound { Without, With };
    void open(const QString &path, Sound sound = Sound::Without);
    void waitForFrames();
    void seekAll(double seconds);
    void playAll();
    void waitForStart();

    std::unique_ptr<SampleClips> m_clips;
    QPointer<ManualClock> m_clock;
    std::shared_ptr<Movie> m_movie;
    TrackPlayerList m_players; // video first
    TrackPlayerList m_videos;
    quint64 m_serial = 0;
};

void MoviePlaybackTest::cleanup()
{
    m_videos.clear();
    m_players.clear();
    m_movie.reset();
}

void MoviePlaybackTest::open(const QString &path, Sound sound)
{
    cleanup();
    m_serial = 0;
    const MovieOpener opener = movieOpener([this] {
        auto clock = std::make_unique<ManualClock>();
        m_clock = clock.get();
        return clock;
    });
    const OpenedMovie opened = QCoro::waitFor(opener(path));
    QVERIFY2(opened.movie, qPrintable(opened.error.text));
    m_movie = opened.movie;
    for (const TrackInfo &track : m_movie->tracks()) {
        if (track.kind == TrackKind::Audio && sound == Sound::Without)
            continue;
        const MadePlayer made = QCoro::waitFor(m_movie->makePlayer(track));
        QVERIFY2(made.player, qPrintable(made.error.text));
        m_players.append(made.player);
        if (track.kind == TrackKind::Video)
            m_videos.append(made.player);
    }
    waitForFrames();
}

/// Until each channel shows what the last seek asked for.
void MoviePlaybackTest::waitForFrames()
{
    for (const TrackPlayerPtr &player : std::as_const(m_videos))
        QTRY_VERIFY(player->latestFrame() && player->latestFrame()->serial == m_serial);
}

void MoviePlaybackTest::seekAll(double seconds)
{
    m_serial++;
    for (const TrackPlayerPtr &player : std::as_const(m_players))
        player->seek(seconds, SeekTolerance::Exact);
}

void MoviePlaybackTest::playAll()
{
    for (const TrackPlayerPtr &player : std::as_const(m_players))
        player->play();
    waitForStart();
}

/// Until time goes on. While it is held, the end of the longest hold is waited for; else a frame or a report.
void MoviePlaybackTest::waitForStart()
{
    QTRY_VERIFY(m_clock->nextCall() && *m_clock->nextCall() - m_clock->now() <= 100ms);
}

void MoviePlaybackTest::seeksExactly_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<double>("rate"); // frames per second
    QTest::addColumn<int>("firstNumber");
    const auto row = [](const char *name, const char *options, double rate = 30, int firstNumber = 0) {
        QTest::newRow(name) << QString::fromLatin1(name).replace(u' ', u'_') + QStringLiteral(".mp4")
                            << words(options) << rate << firstNumber;
    };
    const auto x264 = [&row](const char *name, const char *parameters) {
        row(name,
            (QByteArray("-map 0:v -c:v libx264 -preset veryfast -x264-params ") + parameters).constData());
    };
    row("as the camera writes it", "-map 0 -c copy");
    x264("pyramid of B-frames", "keyint=50:bframes=3:b-pyramid=normal:scenecut=0");
    x264("open groups", "keyint=25:min-keyint=25:bframes=3:open-gop=1:scenecut=0");
    x264("one long group", "keyint=1000:bframes=2:scenecut=0");
    x264("key frames alone", "keyint=1");
    row("H.265", "-map 0:v -c:v libx265 -preset ultrafast -x265-params log-level=error:keyint=40:bframes=4");
    row("fragmented", "-map 0 -c copy -movflags frag_keyframe+delay_moov+default_base_moof");
    row("odd rate",
        "-map 0:v -vf setpts=N*2999/90000/TB -r 90000/2999 -vsync passthrough -c:v libx264 -preset "
        "veryfast -bf 2 -video_track_timescale 90000",
        90000.0 / 2999);
    row("Matroska under a wrong name", "-map 0:v -c copy -f matroska");
}

void MoviePlaybackTest::seeksExactly()
{
    QFETCH(const QString, name);
    QFETCH(const QStringList, options);
    QFETCH(const double, rate);
    QFETCH(const int, firstNumber);
    open(m_clips->remade(name, options));
    QCOMPARE(m_videos.size(), 2);
    QCOMPARE(markOf(m_videos[0]), 1000 + firstNumber); // there without a command
    const double duration = m_videos[0]->durationSeconds();
    QVERIFY2(std::abs(duration - 120 / rate) < 0.1, qPrintable(QString::number(duration)));
    // Far, near, back, within a group, among the frames that wait, to the same, to the first and the last.
    for (const int frame : {100, 101, 103, 102, 17, 31, 29, 60, 59, 59, 0, 119, 1, 90}) {
        const double within = frame % 2 == 0 ? 0.0 : 0.7;
        const double seconds = std::ceil((frame + within) / rate * 600) / 600;
        seekAll(seconds);
        waitForFrames();
        QCOMPARE(markOf(m_videos[0]), 1000 + firstNumber + frame);
        QCOMPARE(markOf(m_videos[1]), 2000 + firstNumber + frame);
    }
}

/// However short its packet says it is, and though nothing refers to it.
void MoviePlaybackTest::aPictureIsShownUntilTheNextOne()
{
    // In each 40 frames the last 20 are missing. Durations stand in decoding order, so B-frames have others'.
    open(m_clips->remade(QStringLiteral("holes.mp4"),
                         words("-map 0:v:0 -vf select=lt(mod(n\\,40)\\,20) -vsync passthrough -c:v libx264 "
                               "-preset veryfast -x264-params keyint=1000:bframes=3:b-adapt=0:scenecut=0")));
    QList<int> shown;
    for (const int frame : {10, 18, 19, 21, 39, 40, 62, 99, 70}) {
        seekAll((frame + 0.5) / 30);
        waitForFrames();
        shown.append(markOf(m_videos[0]) - 1000);
    }
    QCOMPARE(shown, (QList<int>{10, 18, 19, 19, 19, 40, 59, 99, 59}));

    open(m_clips->path(QStringLiteral("pyramid_of_B-frames.mp4")));
    seekAll(m_videos[0]->durationSeconds());
    waitForFrames();
    QCOMPARE(markOf(m_videos[0]), 1119);
}

void MoviePlaybackTest::playsEachFrameWhenItIsDue()
{
    open(m_clips->plain());
    seekAll(1.5);
    waitForFrames();
    QList<int> shown;
    connect(m_videos[1].get(), &TrackPlayer::frameChanged, this, [&] { shown.append(markOf(m_videos[1])); });
    const auto start = m_clock->now();
    playAll();
    QList<int> expected;
    for (int frame = 46; frame < 100; frame++) {
        const auto due = start + (frame - 45) * std::chrono::nanoseconds(1s) / 30;
        m_clock->advanceTo(due - 1ms);
        QCoreApplication::processEvents();
        QCOMPARE(shown, expected);
        m_clock->advanceTo(due + 1us);
        expected.append(2000 + frame);
        QTRY_COMPARE(shown, expected);
        QTRY_COMPARE(markOf(m_videos[0]), 1000 + frame);
    }
    for (const TrackPlayerPtr &player : std::as_const(m_players))
        player->pause();
    m_clock->advance(1s);
    QCoreApplication::processEvents();
    QCOMPARE(shown, expected);
}

void MoviePlaybackTest::channelsStartTogetherWhateverTheirOffset()
{
    // The second channel is late by 1.5 s in the file; and one cut out of the middle of a group begins, by
    // its edit list, with the frame of the cut.
    const QString plain = m_clips->plain();
    open(m_clips->remade(QStringLiteral("offset.mp4"),
                         {QStringLiteral("-itsoffset"), QStringLiteral("1.5"), QStringLiteral("-i"), plain,
                          QStringLiteral("-map"), QStringLiteral("0:0"), QStringLiteral("-map"),
                          QStringLiteral("1:1"), QStringLiteral("-c"), QStringLiteral("copy")}));
    QCOMPARE(markOf(m_videos[1]), 2000);
    QVERIFY(std::abs(m_videos[1]->durationSeconds() - 4) < 0.05);
    seekAll(2);
    waitForFrames();
    QCOMPARE(markOf(m_videos[0]), 1060);
    QCOMPARE(markOf(m_videos[1]), 2060);

    open(m_clips->remade(QStringLiteral("cut.mp4"),
                         words("-map 0:v -c:v libx264 -preset veryfast -bf 2 -g 60 -f mp4")));
    const QString whole = m_clips->path(QStringLiteral("cut.mp4"));
    open(m_clips->remade(QStringLiteral("edit.mp4"),
                         QStringList{QStringLiteral("-ss"), QStringLiteral("1.2"), QStringLiteral("-i"),
                                     whole, QStringLiteral("-map"), QStringLiteral("1:v"),
                                     QStringLiteral("-c"), QStringLiteral("copy")}));
    QCOMPARE(markOf(m_videos[0]), 1036);
    seekAll(1);
    waitForFrames();
    QCOMPARE(markOf(m_videos[1]), 2066);
    seekAll(0);
    waitForFrames();
    QCOMPARE(markOf(m_videos[1]), 2036);
}

void MoviePlaybackTest::onlyTheNewestSeekCounts()
{
    open(m_clips->remade(
        QStringLiteral("one_long_group.mp4"),
        words("-map 0:v -c:v libx264 -preset veryfast -x264-params keyint=1000:bframes=2:scenecut=0")));
    QList<int> shown;
    connect(m_videos[0].get(), &TrackPlayer::frameChanged, this, [&] { shown.append(markOf(m_videos[0])); });
    for (int i = 0; i < 40; i++)
        seekAll(i % 2 == 0 ? 3.9 : 0.5 + i / 20.0);
    waitForFrames();
    QCOMPARE(shown, QList<int>{1000 + 15 + 39 * 3 / 2});
}

void MoviePlaybackTest::reportsEachTenthAndAroundCommands()
{
    open(m_clips->plain());
    QList<double> reports;
    connect(m_videos[0].get(), &TrackPlayer::positionReported, this,
            [&](double seconds) { reports.append(std::round(seconds * 1000) / 1000); });
    m_videos[0]->play();
    QVERIFY(reports.isEmpty()); // a command has returned before anybody hears of it
    QTRY_COMPARE(reports, QList<double>{0});
    waitForStart();
    m_clock->advance(350ms);
    QTRY_COMPARE(reports, (QList<double>{0, 0.1, 0.2, 0.3}));
    m_videos[0]->pause();
    QTRY_COMPARE(reports.value(4), 0.35);
    m_clock->advance(1s);
    m_videos[0]->seek(2.5, SeekTolerance::Exact);
    QTRY_COMPARE(reports.value(5), 2.5);
    QCOMPARE(reports.size(), 6);
}

void MoviePlaybackTest::endsOnceAndPlaysAgainOnlyAfterASeek()
{
    open(m_clips->plain());
    const TrackPlayerPtr first = m_videos[0];
    QSignalSpy ended(first.get(), &TrackPlayer::ended);
    seekAll(3.9);
    waitForFrames();
    playAll();
    m_clock->advance(99ms);
    QCoreApplication::processEvents();
    QCOMPARE(ended.size(), 0);
    m_clock->advance(2ms);
    QTRY_COMPARE(ended.size(), 1);
    QCOMPARE(markOf(first), 1119);
    first->play();
    m_clock->advance(5s);
    QCoreApplication::processEvents();
    QCOMPARE(ended.size(), 1);

    seekAll(2);
    waitForFrames();
    QCOMPARE(markOf(first), 1060);
    first->play();
    seekAll(100); // behind the end, while playing
    QTRY_COMPARE(ended.size(), 2);
    QCOMPARE(markOf(first), 1119);
}

void MoviePlaybackTest::endsWhereTruncatedDataEnds()
{
    const QString whole =
        m_clips->remade(QStringLiteral("faststart.mp4"), words("-c copy -map 0 -movflags +faststart"));
    const QString path = m_clips->path(QStringLiteral("truncated.mp4"));
    QFile::remove(path);
    QVERIFY(QFile::copy(whole, path));
    QVERIFY(QFile::resize(path, QFileInfo(path).size() * 6 / 10));
    open(path);
    QVERIFY(std::abs(m_videos[0]->durationSeconds() - 4) < 0.05); // as the file tells it
    seekAll(3.5);
    waitForFrames();
    const int last = markOf(m_videos[0]) - 1000;
    QVERIFY2(last > 50 && last < 90, qPrintable(QString::number(last)));
    seekAll(1);
    waitForFrames();
    QSignalSpy ended(m_videos[0].get(), &TrackPlayer::ended);
    playAll();
    for (int frame = 31; frame <= last; frame++) {
        m_clock->advance(std::chrono::nanoseconds(1s) / 30 + 1us);
        QTRY_COMPARE(markOf(m_videos[0]), 1000 + frame);
    }
    QCOMPARE(ended.size(), 0);
    m_clock->advance(40ms);
    QTRY_COMPARE(ended.size(), 1);
}

void MoviePlaybackTest::lateChannelHoldsNobodyForLong()
{
    MovieTimeline timeline(std::make_unique<ManualClock>());
    auto &clock = const_cast<ManualClock &>(static_cast<const ManualClock &>(timeline.hostClock()));
    QObject early;
    QObject late;
    const auto start = timeline.now();
    timeline.hold(&early);
    clock.advance(100ms);
    timeline.hold(&late);
    timeline.advanceHold(&early, HoldStage::Device);
    QCOMPARE(timeline.holdStage(), HoldStage::Picture);
    clock.advance(450ms);
    QCOMPARE(timeline.now(), start); // all set off together
    timeline.advanceHold(&late, HoldStage::Supply);
    QCOMPARE(timeline.holdStage(), HoldStage::Supply);
    clock.advance(450ms);
    QCOMPARE(timeline.now(), start);
    clock.advance(100ms);
    QVERIFY(!timeline.isHeld());
    QCOMPARE(timeline.now() - start, 50ms); // but not later than half a second after the last thing that came
    timeline.advanceHold(&late, HoldStage::Device);
    timeline.release(&late);
    clock.advance(1s);
    QCOMPARE(timeline.now() - start, 1050ms);
}

void MoviePlaybackTest::playsAFileThatIsGone()
{
    const QString path = m_clips->path(QStringLiteral("gone.mp4"));
    QVERIFY(QFile::copy(m_clips->plain(), path));
    open(path);
    QVERIFY(QFile::remove(path));
    QFile other(path);
    QVERIFY(other.open(QIODevice::WriteOnly));
    other.write("another file of that name");
    other.close();
    seekAll(3.5);
    waitForFrames();
    QCOMPARE(markOf(m_videos[0]), 1105);
    QCOMPARE(markOf(m_videos[1]), 2105);
    const TrackInfo sound = m_movie->tracks().last(); // even what wasn't opened before
    QVERIFY(QCoro::waitFor(m_movie->makePlayer(sound)).player);
}

void MoviePlaybackTest::describesPictures_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<PixelLayout>("layout");
    QTest::addColumn<ColourMatrix>("matrix");
    QTest::addColumn<bool>("isFullRange");
    QTest::addColumn<int>("rotation");
    QTest::addColumn<double>("aspect");
    const auto x264 = [](const char *more) {
        return words("-map 0:v:0 -t 0.3 -c:v libx264 -preset ultrafast") + words(more);
    };
    const QSize small(320, 180);
    QTest::newRow("small pictures are BT.601")
        << x264("-vf setparams=colorspace=unknown") << small << PixelLayout::Yuv420 << ColourMatrix::Bt601
        << false << 0 << 1.0;
    QTest::newRow("large pictures are BT.709")
        << x264("-vf scale=1280:720,setparams=colorspace=unknown") << QSize(1280, 720) << PixelLayout::Yuv420
        << ColourMatrix::Bt709 << false << 0 << 1.0;
    QTest::newRow("what the file says counts")
        << x264("-x264-params colormatrix=bt2020nc:fullrange=on -pix_fmt yuv444p") << small
        << PixelLayout::Yuv444 << ColourMatrix::Bt2020 << true << 0 << 1.0;
    QTest::newRow("cropped") << x264("-vf scale=318:178,setparams=colorspace=smpte170m -pix_fmt yuv422p")
                             << QSize(318, 178) << PixelLayout::Yuv422 << ColourMatrix::Bt601 << false << 0
                             << 1.0;
    QTest::newRow("10 bits are converted") << x264("-pix_fmt yuv420p10le") << small << PixelLayout::Yuv420
                                           << ColourMatrix::Bt601 << false << 0 << 1.0;
    QTest::newRow("wide samples") << x264("-vf setsar=4/3") << small << PixelLayout::Yuv420
                                  << ColourMatrix::Bt601 << false << 0 << 4.0 / 3;
    // That option of ffmpeg asks for a quarter turn against the clock.
    QTest::newRow("turned") << words("-map 0:v:0 -t 0.3 -c copy -metadata:s:v:0 rotate=90") << small
                            << PixelLayout::Yuv420 << ColourMatrix::Bt601 << false << 270 << 1.0;
}

void MoviePlaybackTest::describesPictures()
{
    QFETCH(const QStringList, options);
    const QString name =
        QString::fromLatin1(QTest::currentDataTag()).replace(u' ', u'_') + QStringLiteral(".mp4");
    open(m_clips->remade(name, options));
    const VideoFramePtr frame = m_videos[0]->latestFrame();
    QTEST(frame->size, "size");
    QTEST(frame->layout, "layout");
    QTEST(frame->matrix, "matrix");
    QTEST(frame->isFullRange, "isFullRange");
    QTEST(frame->rotation, "rotation");
    QTEST(frame->sampleAspectRatio, "aspect");
    QCOMPARE(markOf(m_videos[0]), 1000);
    for (const PicturePlane &plane : frame->planes)
        QVERIFY(!plane.data || plane.stride >= plane.size.width());
}

void MoviePlaybackTest::leavesOutTracksThatCannotBePlayed()
{
    // The code of the first track's pictures becomes one that nobody knows.
    QFile file(m_clips->plain());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QByteArray bytes = file.readAll();
    const qsizetype code = bytes.indexOf("avc1", bytes.indexOf("stsd"));
    QVERIFY(code > 0);
    bytes.replace(code, 4, "zzz1");
    const QString path = m_clips->path(QStringLiteral("unknown.mp4"));
    QFile changed(path);
    QVERIFY(changed.open(QIODevice::WriteOnly));
    changed.write(bytes);
    changed.close();

    const OpenedMovie opened = QCoro::waitFor(openMovie(path));
    QVERIFY(opened.movie);
    const QList<TrackInfo> tracks = opened.movie->tracks();
    QCOMPARE(tracks.size(), 3);
    const MadePlayer broken = QCoro::waitFor(opened.movie->makePlayer(tracks[0]));
    QVERIFY(!broken.player);
    QVERIFY(!broken.error.text.isEmpty());
    const MadePlayer sound = QCoro::waitFor(opened.movie->makePlayer(tracks[1]));
    QVERIFY(sound.player);
    QTRY_COMPARE(markOf(sound.player), 2000);
}

void MoviePlaybackTest::refusesWhatIsNoMovie_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("App -> nothing").repeated(1000);
    QTest::newRow("play list that names another file")
        << QByteArray("#EXTM3U\n#EXTINF:1,\nplain.mp4\n#EXT-X-ENDLIST\n");
    QTest::newRow("concatenation script") << QByteArray("ffconcat version 1.0\nfile plain.mp4\n");
    QTest::newRow("head without an index")
        << QByteArray::fromHex("00000018667479706d703432000000006d70343269736f6d");
}

void MoviePlaybackTest::refusesWhatIsNoMovie()
{
    QFETCH(const QByteArray, bytes);
    QFile file(m_clips->path(QStringLiteral("nothing.mp4")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    file.close();
    const OpenedMovie opened = QCoro::waitFor(openMovie(file.fileName()));
    QVERIFY(!opened.movie);
    QVERIFY(!opened.error.text.isEmpty());
    QVERIFY(!QCoro::waitFor(openMovie(m_clips->path(QStringLiteral("missing.mp4")))).movie);
    QVERIFY(!QCoro::waitFor(openMovie(QDir::tempPath())).movie);
}

void MoviePlaybackTest::survivesDamage_data()
{
    QTest::addColumn<int>("seed");
    QTest::newRow("a length that 64 bits of nanoseconds can't hold") << 0;
    for (int seed = 1; seed <= 12; seed++)
        QTest::addRow("seed %d", seed) << seed;
}

/// Random bytes over a recording's data and index: whatever opens has to come to its end.
void MoviePlaybackTest::survivesDamage()
{
    QFETCH(const int, seed);
    QFile file(seed > 0 ? m_clips->plain()
                        : m_clips->remade(QStringLiteral("plain.mkv"), words("-map 0:v -c copy")));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QByteArray bytes = file.readAll();
    std::minstd_rand random(static_cast<unsigned>(seed));
    if (seed == 0) // 9e15 ms
        bytes.replace(bytes.indexOf(QByteArray::fromHex("448988")) + 3, 8,
                      QByteArray::fromHex("433ff973cafa8000"));
    const qsizetype from = seed % 3 == 0 ? bytes.lastIndexOf("moov") : 0; // each third: the index alone
    for (int i = 0; seed > 0 && i < (seed % 3 == 0 ? 20 : 300); i++)
        bytes[from + static_cast<qsizetype>(random()) % (bytes.size() - from)] = static_cast<char>(random());
    QFile damaged(m_clips->path(QStringLiteral("damaged.mp4")));
    QVERIFY(damaged.open(QIODevice::WriteOnly));
    damaged.write(bytes);
    damaged.close();

    const OpenedMovie opened = QCoro::waitFor(openMovie(damaged.fileName()));
    if (!opened.movie)
        return;
    TrackPlayerList players;
    for (const TrackInfo &track : opened.movie->tracks())
        if (const MadePlayer made = QCoro::waitFor(opened.movie->makePlayer(track)); made.player)
            players.append(made.player);
    for (const TrackPlayerPtr &player : std::as_const(players)) {
        QSignalSpy ended(player.get(), &TrackPlayer::ended);
        QVERIFY(player->durationSeconds() >= 0 && (seed > 0 || player->durationSeconds() < 10));
        player->seek(1, SeekTolerance::Exact);
        player->play();
        player->seek(player->durationSeconds(), SeekTolerance::Exact);
        QTRY_COMPARE(ended.size(), 1);
    }
}

QTEST_GUILESS_MAIN(MoviePlaybackTest)
#include "tst_movieplayback.moc"
