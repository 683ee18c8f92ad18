#include "engine/moviefile.h"
#include "privatesound.h"
#include "sampleclips.h"

#include <cmath>
#include <QCoroTask>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

/// What comes out at a real sound device, while a recording with a click at each whole second plays on the
/// real clock. How quick the machine is decides on nothing here but how close to its time a click is heard.
class SoundPlaybackTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void clicksAreHeardWithTheirPictures();
    void clickAtTheTargetOfAJumpIsHeard();
    void volumeIsLinear();
    void playbackGoesOnWithoutItsDevice();

private:
    struct Click {
        double seconds; // of the recorder's own time
        double amplitude;
        double heardAt; // seconds of m_clock
    };
    void open();
    void playFrom(double seconds);
    /// Plays from there to the end and a little longer.
    QList<Click> clicksFrom(double seconds);
    void listen();

    std::unique_ptr<SampleClips> m_clips;
    PrivateSound m_sound;
    QElapsedTimer m_clock;
    TrackPlayerPtr m_picture;
    TrackPlayerPtr m_audio;
    QList<Click> m_clicks;
    qint64 m_samplesHeard = 0;
    double m_startedAt = 0; // when the first picture after the start was shown, seconds of m_clock
};

void SoundPlaybackTest::initTestCase()
{
    if (!PrivateSound::isInstalled())
        QSKIP("pulseaudio is not installed");
    QVERIFY(m_sound.start());
    m_clips = std::make_unique<SampleClips>();
    m_clock.start();
}

void SoundPlaybackTest::cleanup()
{
    m_picture.reset();
    m_audio.reset();
}

void SoundPlaybackTest::open()
{
    const OpenedMovie opened = QCoro::waitFor(openMovie(m_clips->plain()));
    QVERIFY2(opened.movie, qPrintable(opened.error.text));
    for (const TrackInfo &track : opened.movie->tracks()) {
        TrackPlayerPtr &player = track.kind == TrackKind::Video ? m_picture : m_audio;
        if (!player)
            player = QCoro::waitFor(opened.movie->makePlayer(track)).player;
    }
    QVERIFY(m_picture && m_audio);
}

void SoundPlaybackTest::playFrom(double seconds)
{
    for (const TrackPlayerPtr &player : {m_picture, m_audio})
        player->seek(seconds, SeekTolerance::Exact);
    for (const TrackPlayerPtr &player : {m_picture, m_audio})
        player->play();
}

/// A click is the loudest of the tenth of a second that begins with the first loud sample.
void SoundPlaybackTest::listen()
{
    for (const float sample : m_sound.takeRecorded()) {
        const double seconds = static_cast<double>(m_samplesHeard++) / PrivateSound::samplesPerSecond;
        const double loudness = std::abs(static_cast<double>(sample));
        if (!m_clicks.isEmpty() && seconds - m_clicks.last().seconds < 0.1)
            m_clicks.last().amplitude = std::max(m_clicks.last().amplitude, loudness);
        else if (loudness > 0.2)
            m_clicks.append({seconds, loudness, static_cast<double>(m_clock.elapsed()) / 1000});
    }
}

QList<SoundPlaybackTest::Click> SoundPlaybackTest::clicksFrom(double seconds)
{
    QSignalSpy ended(m_audio.get(), &TrackPlayer::ended);
    m_startedAt = 0;
    const auto shown = connect(m_picture.get(), &TrackPlayer::frameChanged, this, [&, seconds] {
        const double time = m_picture->latestFrame()->seconds;
        if (m_startedAt == 0 && time > seconds && time < seconds + 1)
            m_startedAt = static_cast<double>(m_clock.elapsed()) / 1000 - (time - seconds);
    });
    listen();
    m_clicks.clear();
    playFrom(seconds);
    [[maybe_unused]] const bool hasEnded = QTest::qWaitFor(
        [&] {
            listen();
            return !ended.isEmpty();
        },
        30'000);
    // What the device still holds, and a second more in which nothing may come.
    const double until = static_cast<double>(m_samplesHeard) / PrivateSound::samplesPerSecond + 1;
    [[maybe_unused]] const bool isSilent = QTest::qWaitFor(
        [&] {
            listen();
            return static_cast<double>(m_samplesHeard) / PrivateSound::samplesPerSecond > until;
        },
        30'000);
    disconnect(shown);
    return hasEnded && isSilent ? m_clicks : QList<Click>();
}

void SoundPlaybackTest::clicksAreHeardWithTheirPictures()
{
    open();
    const QList<Click> clicks = clicksFrom(0);
    QCOMPARE(clicks.size(), SampleClips::seconds); // with the one at 0 s
    for (int second = 0; second < clicks.size(); second++) {
        const double gap = clicks[second].seconds - clicks[0].seconds - second;
        QVERIFY2(std::abs(gap) < 0.2, qPrintable(QString::number(gap)));
        const double lag = clicks[second].heardAt - m_startedAt - second;
        QVERIFY2(std::abs(lag) < 0.4, qPrintable(QString::number(lag)));
    }
}

void SoundPlaybackTest::clickAtTheTargetOfAJumpIsHeard()
{
    open();
    QCOMPARE(clicksFrom(2).size(), SampleClips::seconds - 2);
    QCOMPARE(clicksFrom(2.5).size(), SampleClips::seconds - 3);

    // A pause is silent; after it the sound goes on where it was.
    m_clicks.clear();
    playFrom(0.5);
    QTRY_VERIFY((listen(), m_clicks.size() == 1));
    for (const TrackPlayerPtr &player : {m_picture, m_audio})
        player->pause();
    const qint64 until = m_samplesHeard + 2 * PrivateSound::samplesPerSecond;
    QTRY_VERIFY_WITH_TIMEOUT((listen(), m_samplesHeard > until), 30'000);
    QCOMPARE(m_clicks.size(), 1);
    for (const TrackPlayerPtr &player : {m_picture, m_audio})
        player->play();
    QTRY_VERIFY_WITH_TIMEOUT((listen(), m_clicks.size() == 3), 30'000);
}

void SoundPlaybackTest::volumeIsLinear()
{
    open();
    const QList<Click> loud = clicksFrom(2);
    m_audio->setVolume(0.5F);
    const QList<Click> half = clicksFrom(2);
    QCOMPARE(loud.size(), 2);
    QCOMPARE(half.size(), 2);
    const double ratio = half[1].amplitude / loud[1].amplitude;
    QVERIFY2(std::abs(ratio - 0.5) < 0.05, qPrintable(QString::number(ratio)));
}

/// The last one, since a program doesn't get to know of a server that comes back.
void SoundPlaybackTest::playbackGoesOnWithoutItsDevice()
{
    open();
    QSignalSpy pictureEnded(m_picture.get(), &TrackPlayer::ended);
    QSignalSpy soundEnded(m_audio.get(), &TrackPlayer::ended);
    m_clicks.clear();
    playFrom(0);
    QTRY_VERIFY((listen(), m_clicks.size() >= 2));
    m_sound.kill();
    QTRY_COMPARE_WITH_TIMEOUT(pictureEnded.size(), 1, 30'000);
    QTRY_COMPARE_WITH_TIMEOUT(soundEnded.size(), 1, 30'000);
    playFrom(3.5);
    QTRY_COMPARE_WITH_TIMEOUT(pictureEnded.size(), 2, 30'000);
}

QTEST_GUILESS_MAIN(SoundPlaybackTest)
#include "tst_soundplayback.moc"
