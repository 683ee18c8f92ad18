#include "common/preferences.h"
#include "playback/multitrackplayer.h"
#include "support/scriptedmovie.h"

#include <QCoroTask>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

/// The rules of the player above the engine, on scripted tracks.
class MultiTrackPlayerTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void commandsReachEveryPlayerInOrder_data();
    void commandsReachEveryPlayerInOrder();
    void jumpsAreClampedAndRounded_data();
    void jumpsAreClampedAndRounded();
    void loadKeepsEverythingIfTheMovieDoesNotOpen();
    void loadSkipsBrokenTracksAndTakesFiveAtMost();
    void loadWithoutVideoKeepsDurationAndProgress();
    void commandsDuringALoadReachAllTracksAtItsEnd_data();
    void commandsDuringALoadReachAllTracksAtItsEnd();
    void aLoadGivesWayToWhatComesAfterIt();
    void reportsMoveTimeOneTurnLater();
    void outdatedReportsAreDropped_data();
    void outdatedReportsAreDropped();
    void endOfTheFirstPlayerAloneEndsPlayback();
    void formerPlayersAreNotHeardAfterTheNextLoad();
    void jumpsWithoutDurationDoNothing();
    void volumeComesFromThePreferencesWithoutWritingThem();

private:
    void load(const std::shared_ptr<ScriptedMovie> &movie);
    ScriptedTrackPlayer *video(int channel) const
    {
        return static_cast<ScriptedTrackPlayer *>(m_player->videoPlayers().at(channel).get());
    }
    void deliverReport(double seconds)
    {
        video(0)->report(seconds);
        QCoreApplication::sendPostedEvents();
    }

    QTemporaryDir m_folder;
    QString m_preferencesPath;
    std::unique_ptr<Preferences> m_preferences;
    OpenedMovie m_next; // what the opener gives
    std::unique_ptr<MultiTrackPlayer> m_player;
};

void MultiTrackPlayerTest::init()
{
    m_preferencesPath = m_folder.filePath(QStringLiteral("preferences.ini"));
    m_player.reset();
    m_preferences = std::make_unique<Preferences>(m_preferencesPath);
    m_player = std::make_unique<MultiTrackPlayer>(
        [this](QString) -> QCoro::Task<OpenedMovie> { co_return m_next; }, *m_preferences);
}

void MultiTrackPlayerTest::load(const std::shared_ptr<ScriptedMovie> &movie)
{
    m_next = {movie, {}};
    QCOMPARE(QCoro::waitFor(m_player->loadTracks(QUrl::fromLocalFile(QStringLiteral("/x.mp4")))),
             std::nullopt);
    movie->log->clear();
}

void MultiTrackPlayerTest::commandsReachEveryPlayerInOrder_data()
{
    using Command = std::function<void(MultiTrackPlayer &)>;
    QTest::addColumn<Command>("command");
    QTest::addColumn<QStringList>("told");
    QTest::addColumn<bool>("isPlaying");
    QTest::addColumn<bool>("isStopped");
    const auto row = [](const char *name, const Command &command, const QString &told, bool isPlaying,
                        bool isStopped) {
        QTest::newRow(name) << command << told.split(QStringLiteral(", ")) << isPlaying << isStopped;
    };
    row(
        "play", [](MultiTrackPlayer &p) { p.play(); },
        QStringLiteral("video0 play, video1 play, audio0 play"), true, false);
    row(
        "pause", [](MultiTrackPlayer &p) { p.pause(); },
        QStringLiteral("video0 pause, video1 pause, audio0 pause"), false, false);
    row(
        "stop rewinds each right after pausing it", [](MultiTrackPlayer &p) { p.stop(); },
        QStringLiteral("video0 pause, video0 seek 0 near, video1 pause, video1 seek 0 near, "
                       "audio0 pause, audio0 seek 0 near"),
        false, true);
    row(
        "seek", [](MultiTrackPlayer &p) { p.seek(0.5); },
        QStringLiteral("video0 seek 5 exact, video1 seek 5 exact, audio0 seek 5 exact"), false, true);
    row(
        "volume: sound first", [](MultiTrackPlayer &p) { p.setVolume(1.5); },
        QStringLiteral("audio0 volume 1, video0 volume 1, video1 volume 1"), false, true);
    row(
        "a seek leaves a playing recording playing",
        [](MultiTrackPlayer &p) {
            p.play();
            p.seek(0.1);
        },
        QStringLiteral("video0 play, video1 play, audio0 play, "
                       "video0 seek 1 exact, video1 seek 1 exact, audio0 seek 1 exact"),
        true, false);
}

void MultiTrackPlayerTest::commandsReachEveryPlayerInOrder()
{
    QFETCH(const std::function<void(MultiTrackPlayer &)>, command);
    const auto movie = std::make_shared<ScriptedMovie>(QList<double>{10, 8}, QList<double>{12, 12});
    load(movie);
    connect(m_player.get(), &MultiTrackPlayer::playStateChanged, this,
            [this] { QVERIFY(!(m_player->isPlaying() && m_player->isStopped())); });
    command(*m_player);
    QTEST(*movie->log, "told");
    QTEST(m_player->isPlaying(), "isPlaying");
    QTEST(m_player->isStopped(), "isStopped");
    QCOMPARE(m_player->duration(), 10.0); // of the first channel, though others are shorter or longer
}

void MultiTrackPlayerTest::jumpsAreClampedAndRounded_data()
{
    QTest::addColumn<bool>("isStep");
    QTest::addColumn<double>("by");
    QTest::addColumn<double>("from"); // seconds
    QTest::addColumn<QString>("told");
    QTest::addColumn<double>("time");
    QTest::addColumn<double>("progress");
    const double length = 10.001;
    QTest::newRow("seek before the start") << false << -0.2 << 3.0 << "0" << 0.0 << 0.0;
    QTest::newRow("seek behind the end") << false << 1.7 << 3.0 << "10.0016666667" << length << 1.0;
    QTest::newRow("seek to no number") << false << qQNaN() << 3.0 << "0" << 0.0 << 0.0;
    QTest::newRow("players get ticks of 1/600 s, the state the plain product")
        << false << 0.3333 << 0.0 << "3.33333333333" << 0.3333 * length << 0.3333;
    QTest::newRow("step before the start, progress waits for a report")
        << true << -10.0 << 3.0 << "0" << 0.0 << 3.0 / length;
    QTest::newRow("step behind the end") << true << 10.0 << 5.5 << "10.0016666667" << length << 5.5 / length;
    QTest::newRow("step inside") << true << -2.5 << 5.5 << "3" << 3.0 << 5.5 / length;
}

void MultiTrackPlayerTest::jumpsAreClampedAndRounded()
{
    QFETCH(const bool, isStep);
    QFETCH(const double, by);
    QFETCH(const double, from);
    QFETCH(const QString, told);
    const auto movie = std::make_shared<ScriptedMovie>(QList<double>{10.001}, QList<double>{});
    load(movie);
    deliverReport(from);
    if (isStep)
        m_player->step(by);
    else
        m_player->seek(by);
    QCOMPARE(*movie->log, QStringList(QStringLiteral("video0 seek %1 exact").arg(told)));
    QTEST(m_player->currentTime(), "time");
    QTEST(m_player->progress(), "progress");
}

void MultiTrackPlayerTest::loadKeepsEverythingIfTheMovieDoesNotOpen()
{
    load(std::make_shared<ScriptedMovie>(QList<double>{10, 8}, QList<double>{12}));
    deliverReport(4);
    const TrackPlayerList before = m_player->videoPlayers();
    const TrackPlayerPtr sound = m_player->audioPlayer();
    m_next = {nullptr, {MovieError::Kind::Unreadable, QStringLiteral("No such file")}};
    QCOMPARE(QCoro::waitFor(m_player->loadTracks(QUrl())).value().text, QStringLiteral("No such file"));
    QCOMPARE(m_player->videoPlayers(), before);
    QCOMPARE(m_player->audioPlayer(), sound);
    QCOMPARE(m_player->currentTime(), 4.0);
    deliverReport(5); // still observed
    QCOMPARE(m_player->currentTime(), 5.0);
}

void MultiTrackPlayerTest::loadSkipsBrokenTracksAndTakesFiveAtMost()
{
    const auto movie =
        std::make_shared<ScriptedMovie>(QList<double>{1, 2, 3, 4, 5, 6, 7}, QList<double>{9, 9});
    movie->brokenTracks.insert(0, QStringLiteral("no decoder"));
    movie->brokenTracks.insert(7, QStringLiteral("no sound decoder"));
    m_player->play(); // with nothing loaded: only the state changes
    load(movie);
    QList<double> durations;
    for (const TrackPlayerPtr &player : m_player->videoPlayers())
        durations.append(player->durationSeconds());
    QCOMPARE(durations, (QList<double>{2, 3, 4, 5, 6}));
    QVERIFY(!m_player->audioPlayer()); // the second sound track is no replacement for the first
    QCOMPARE(m_player->duration(), 2.0);
    QCOMPARE(m_player->videoPlayerObjects().size(), 5);
    QVERIFY(m_player->isPlaying()); // a load changes no state
}

void MultiTrackPlayerTest::loadWithoutVideoKeepsDurationAndProgress()
{
    load(std::make_shared<ScriptedMovie>(QList<double>{10}, QList<double>{}));
    deliverReport(4);
    load(std::make_shared<ScriptedMovie>(QList<double>{}, QList<double>{12}));
    QVERIFY(m_player->videoPlayers().isEmpty());
    QVERIFY(m_player->audioPlayer());
    QCOMPARE(m_player->duration(), 10.0);
    QCOMPARE(m_player->progress(), 0.4);
    QCOMPARE(m_player->currentTime(), 0.0);
}

void MultiTrackPlayerTest::commandsDuringALoadReachAllTracksAtItsEnd_data()
{
    using Commands = std::function<void(MultiTrackPlayer &)>;
    QTest::addColumn<Commands>("commands");
    QTest::addColumn<QStringList>("told");
    QTest::addColumn<double>("time");
    const auto row = [](const char *name, const Commands &commands, const QStringList &told, double time) {
        QTest::newRow(name) << commands << told << time;
    };
    const QStringList play{QStringLiteral("video0 play"), QStringLiteral("video1 play"),
                           QStringLiteral("audio0 play")};
    const QStringList seek{QStringLiteral("video0 seek 10 exact"), QStringLiteral("video1 seek 10 exact"),
                           QStringLiteral("audio0 seek 10 exact")};
    row(
        "play", [](auto &p) { p.play(); }, play, 0);
    row(
        "play and think again",
        [](auto &p) {
            p.play();
            p.pause();
        },
        {}, 0);
    row(
        "a seek goes to its share of the new recording",
        [](auto &p) {
            p.play();
            p.seek(0.5);
        },
        seek + play, 10);
    row(
        "a step as well", [](auto &p) { p.step(5); }, seek, 10);
    row(
        "stop goes back",
        [](auto &p) {
            p.seek(0.5);
            p.play();
            p.stop();
        },
        {}, 0);
}

void MultiTrackPlayerTest::commandsDuringALoadReachAllTracksAtItsEnd()
{
    QFETCH(const std::function<void(MultiTrackPlayer &)>, commands);
    load(std::make_shared<ScriptedMovie>(QList<double>{10}, QList<double>{}));
    const auto movie = std::make_shared<ScriptedMovie>(QList<double>{20, 20}, QList<double>{20});
    movie->openingTime = std::chrono::milliseconds(2);
    m_next = {movie, {}};
    QList<int> counts;
    connect(m_player.get(), &MultiTrackPlayer::videoPlayersChanged, this,
            [&] { counts.append(m_player->videoPlayerCount()); });
    const auto loading = m_player->loadTracks(QUrl());
    commands(*m_player);
    QVERIFY(!loading.isReady());
    QTRY_VERIFY(loading.isReady());
    QCOMPARE(counts, (QList<int>{0, 2})); // all at once
    movie->log->removeIf([](const QString &command) { return command.contains(u"volume"); });
    QTEST(*movie->log, "told");
    QTEST(m_player->currentTime(), "time");
    QCOMPARE(m_player->isPlaying(), movie->log->contains(QStringLiteral("video0 play")));
}

void MultiTrackPlayerTest::aLoadGivesWayToWhatComesAfterIt()
{
    const auto slow = [](double seconds) {
        auto movie = std::make_shared<ScriptedMovie>(QList<double>{seconds, seconds}, QList<double>{});
        movie->openingTime = std::chrono::milliseconds(2);
        return movie;
    };
    const auto isSuperseded = [](const std::optional<MovieError> &error) {
        return error && error->kind == MovieError::Kind::Superseded;
    };
    m_next = {slow(10), {}};
    auto first = m_player->loadTracks(QUrl());
    m_player->play();
    m_next = {slow(20), {}};
    auto second = m_player->loadTracks(QUrl());
    QVERIFY(isSuperseded(QCoro::waitFor(std::move(first))));
    QCOMPARE(QCoro::waitFor(std::move(second)), std::nullopt);
    QCOMPARE(m_player->duration(), 20.0);

    m_next = {slow(30), {}};
    auto third = m_player->loadTracks(QUrl());
    m_player->clearVideoPlayers(); // the card is gone
    QVERIFY(isSuperseded(QCoro::waitFor(std::move(third))));
    QVERIFY(m_player->videoPlayers().isEmpty());
}

void MultiTrackPlayerTest::reportsMoveTimeOneTurnLater()
{
    load(std::make_shared<ScriptedMovie>(QList<double>{10, 10}, QList<double>{}));
    video(0)->report(2.5);
    video(1)->report(7.5); // the other channels aren't asked
    QCOMPARE(m_player->currentTime(), 0.0);
    QCoreApplication::sendPostedEvents();
    QCOMPARE(m_player->currentTime(), 2.5);
    QCOMPARE(m_player->progress(), 0.25);

    m_player->setIsScrubbing(true);
    m_player->setProgress(0.9); // the slider under the user's hand
    deliverReport(2.6);
    QCOMPARE(m_player->currentTime(), 2.5);
    QCOMPARE(m_player->progress(), 0.9);
    m_player->setIsScrubbing(false);
    deliverReport(2.7);
    QCOMPARE(m_player->progress(), 0.27);
}

void MultiTrackPlayerTest::outdatedReportsAreDropped_data()
{
    using Command = std::function<void(MultiTrackPlayer &, ScriptedTrackPlayer &)>;
    QTest::addColumn<Command>("jump");
    QTest::addColumn<double>("time");
    QTest::addColumn<double>("progress");
    QTest::newRow("seek") << Command([](auto &p, auto &) { p.seek(0.5); }) << 5.0 << 0.5;
    QTest::newRow("step") << Command([](auto &p, auto &) { p.step(1); }) << 3.0 << 0.2;
    QTest::newRow("stop") << Command([](auto &p, auto &) { p.stop(); }) << 0.0 << 0.0;
    QTest::newRow("end") << Command([](auto &, auto &first) { first.end(); }) << 2.0 << 1.0;
    QTest::newRow("end, and one sent after it") << Command([](auto &, auto &first) {
        first.end();
        first.report(9.99);
    }) << 2.0 << 1.0;
}

void MultiTrackPlayerTest::outdatedReportsAreDropped()
{
    using Command = std::function<void(MultiTrackPlayer &, ScriptedTrackPlayer &)>;
    QFETCH(const Command, jump);
    load(std::make_shared<ScriptedMovie>(QList<double>{10}, QList<double>{}));
    deliverReport(2);
    video(0)->report(2.1);
    jump(*m_player, *video(0));
    QCoreApplication::sendPostedEvents();
    QTEST(m_player->currentTime(), "time");
    QTEST(m_player->progress(), "progress");
    m_player->seek(0.7); // after which reports count again
    deliverReport(7.1);
    QCOMPARE(m_player->currentTime(), 7.1);
}

void MultiTrackPlayerTest::endOfTheFirstPlayerAloneEndsPlayback()
{
    const auto movie = std::make_shared<ScriptedMovie>(QList<double>{10, 8}, QList<double>{12});
    load(movie);
    int endCount = 0;
    m_player->onPlaybackEnded = [this, &endCount] {
        endCount++;
        QCOMPARE(m_player->progress(), 1.0); // all is set by the time of the call
        QVERIFY(!m_player->isPlaying());
    };
    m_player->play();
    deliverReport(9.9);
    video(1)->end();
    QVERIFY(m_player->isPlaying());
    movie->log->clear();
    video(0)->end();
    QCOMPARE(endCount, 1);
    QVERIFY(!m_player->isPlaying() && !m_player->isStopped());
    QCOMPARE(m_player->currentTime(), 9.9);
    QCOMPARE(*movie->log, QStringList()); // longer tracks run on
}

void MultiTrackPlayerTest::formerPlayersAreNotHeardAfterTheNextLoad()
{
    load(std::make_shared<ScriptedMovie>(QList<double>{10}, QList<double>{}));
    const TrackPlayerList mirror = m_player->videoPlayers(); // as the application's state keeps one
    auto *former = video(0);
    former->report(6);
    load(std::make_shared<ScriptedMovie>(QList<double>{20}, QList<double>{}));
    former->report(6.1);
    former->end();
    QCoreApplication::sendPostedEvents();
    QCOMPARE(m_player->currentTime(), 0.0);
    QCOMPARE(m_player->progress(), 0.0);

    auto *current = video(0);
    const TrackPlayerList secondMirror = m_player->videoPlayers();
    m_player->clearVideoPlayers(); // the card is gone
    current->report(3);
    QCoreApplication::sendPostedEvents();
    QCOMPARE(m_player->currentTime(), 0.0);
    QVERIFY(m_player->videoPlayers().isEmpty());
}

void MultiTrackPlayerTest::jumpsWithoutDurationDoNothing()
{
    const auto movie = std::make_shared<ScriptedMovie>(QList<double>{0}, QList<double>{});
    load(movie);
    m_player->seek(0.5);
    m_player->step(10);
    deliverReport(1);
    QCOMPARE(*movie->log, QStringList());
    QCOMPARE(m_player->currentTime(), 0.0);
    QCOMPARE(m_player->progress(), 0.0);
}

void MultiTrackPlayerTest::volumeComesFromThePreferencesWithoutWritingThem()
{
    const auto volumeAtLoad = [this] {
        const auto movie = std::make_shared<ScriptedMovie>(QList<double>{1}, QList<double>{});
        m_next = {movie, {}};
        QCoro::waitFor(m_player->loadTracks(QUrl()));
        return movie->log->value(0);
    };
    QCOMPARE(volumeAtLoad(), QStringLiteral("video0 volume 0.5"));
    m_preferences.reset();
    QVERIFY(!QFile::exists(m_preferencesPath));

    for (const auto &[stored, expected] :
         {std::pair("0.25", "0.25"), {"3", "1"}, {"loud", "0.5"}, {"nan", "0.5"}}) {
        QFile file(m_preferencesPath);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray("[General]\nvolume=") + stored + "\n");
        file.close();
        init();
        QCOMPARE(volumeAtLoad(), QStringLiteral("video0 volume ") + QLatin1String(expected));
    }
    QFile::remove(m_preferencesPath);
}

QTEST_GUILESS_MAIN(MultiTrackPlayerTest)
#include "tst_multitrackplayer.moc"
