#include "app/state/messages.h"
#include "sessionfixture.h"
#include "support/logcapture.h"

#include <QSemaphore>
#include <QSignalSpy>
#include <QThreadPool>

namespace {

template <typename... Values> QByteArray asciiText(const char *format, Values... values)
{
    return QString::asprintf(format, values...).toLatin1();
}

} // namespace

/// The way of a recording from a click to moving pictures.
class SelectionTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { f = std::make_unique<SessionFixture>(); }
    void cleanup() { f.reset(); }

    void runsInOrder();
    void isRefusedWhileAnotherOneRuns();
    void playsWhatCanBePlayed_data();
    void playsWhatCanBePlayed();
    void ownFailureIsNotDamage_data();
    void ownFailureIsNotDamage();
    void endsWithItsCard_data();
    void endsWithItsCard();
    void waitsForARunningExtractionOfTheRecording();
    void freedRecordingIsFetchedAgain();
    void tabChangeDuringTheFetchLeavesOtherRowsAlone();
    void alertIsTheEndOfItsSelectionAlone();
    void recordingsNamedLikeWorkFilesSurvive();
    void previewIsResetForAnotherNumberOfChannels();
    void nextGoesDownPreviousAndTheEndGoUp();
    void telemetryArrivesBesideThePictures();
    void telemetryOfAnEarlierSelectionIsDropped();
    void exportsNeedARecording();

private:
    static QString at(const char *time) { return SessionFixture::at(time); }
    /// Two positions at this speed in knots, two seconds apart, in the recording's bytes.
    void addRecordingWithTelemetry(const QString &name, int knots);

    std::unique_ptr<SessionFixture> f;
};

void SelectionTest::addRecordingWithTelemetry(const QString &name, int knots)
{
    QByteArray bytes = "2 0 ";
    for (const int second : {1, 3}) {
        const QByteArray sentence =
            asciiText("$GPRMC,08050%d,A,3730.0,N,12700.0,E,%d,90,090324", second, knots);
        bytes += asciiText("xGPS%05d", int(sentence.size())) + sentence;
    }
    f->add(name, bytes);
}

void SelectionTest::runsInOrder()
{
    f->add(QStringLiteral("normal"), {at("100000"), at("110000"), at("120000")});
    f->tools().space = SessionFixture::noRoom; // no background extraction
    QVERIFY(f->show(3));
    f->tools().clearCalls();
    QStringList steps;
    connect(f->model.get(), &AppViewModel::procMessageChanged, this, [&] {
        steps.append(f->model->procMessage() ? QStringLiteral("message") : QStringLiteral("no message"));
    });
    f->model->tapRow(1);
    QTRY_VERIFY(f->isPlaying());
    QCOMPARE(f->model->selectedIndex(), std::optional(1));
    QVERIFY(f->model->filtered().at(1).isSelected);
    QCOMPARE(steps, QStringList({QStringLiteral("message"), QStringLiteral("no message")}));
    QCOMPARE(f->model->videoPlayers().size(), 2);
    QCOMPARE(f->model->alertMessage(), std::optional<QString>());

    f->tools().space = SessionFixture::room;
    const QString preload = QStringLiteral("read mov/normal/") + at("120000");
    QTRY_VERIFY(f->readSize(f->model->filtered(), at("120000")) > 0);
    QCOMPARE(f->tools().calls().mid(0, 5),
             QStringList({QStringLiteral("read mov/normal/") + at("110000"),
                          QStringLiteral("end read mov/normal/") + at("110000"),
                          QStringLiteral("remux ") + at("110000") + QStringLiteral(" temp.mp4"),
                          QStringLiteral("convert temp.mp4 playing.mp4"), preload}));
    QCOMPARE(f->opened, QStringList({at("110000"), QStringLiteral("playing.mp4")}));
    const QDir folder(processvalues::tempRoot() + QStringLiteral("mov/normal"));
    QVERIFY(!folder.exists(QStringLiteral("temp.mp4")));
    QVERIFY(folder.exists(QStringLiteral("playing.mp4")));
    // What a selection extracted itself isn't extracted again by the background task, which goes on
    // afterwards.
    QTRY_VERIFY(f->readSize(f->model->fileList(), at("100000")) > 0);
    QCOMPARE(f->countOf(preload), 1);
}

void SelectionTest::isRefusedWhileAnotherOneRuns()
{
    f->add(QStringLiteral("normal"), {at("100000"), at("110000")});
    QVERIFY(f->showAllExtracted());
    f->model->setProcMessage(QStringLiteral("busy"));
    QCoro::waitFor(f->model->select(f->model->filtered().at(0)));
    QCOMPARE(f->model->selectedIndex(), std::optional<int>());
    f->model->setProcMessage(std::nullopt);

    auto running = f->model->selectIndex(1);
    QCoro::waitFor(f->model->selectIndex(0)); // moves the highlight, and is refused
    QVERIFY(f->model->filtered().at(0).isSelected);
    QCoro::waitFor(std::move(running));
    QCOMPARE(f->model->selectedIndex(), std::optional(1));
    QCOMPARE(f->opened.size(), 2);

    FileListItem unknown = f->model->filtered().at(0);
    unknown.id = QUuid::createUuid();
    QCoro::waitFor(f->model->select(unknown));
    QCOMPARE(f->model->selectedIndex(), std::optional(1));
    QVERIFY(f->isPlaying());
    QCoro::waitFor(f->model->selectIndex(0)); // and another one is taken again
    QCOMPARE(f->model->selectedIndex(), std::optional(0));
}

void SelectionTest::playsWhatCanBePlayed_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("unopenable");
    QTest::addColumn<QStringList>("steps"); // of the tools; R stands for the recording
    QTest::addColumn<QStringList>("opened"); // to count the sound, and to be played
    QTest::addColumn<bool>("isPlayed");
    QTest::addColumn<QStringList>("log");
    const auto row = [](const char *test, const char *name, const QByteArray &content,
                        const QString &unopenable, const QStringList &steps, const QStringList &opened,
                        bool isPlayed, const QStringList &log) {
        QTest::newRow(test) << QString::fromLatin1(name) << content << unopenable << steps << opened
                            << isPlayed << log;
    };
    const char *mp4 = "N_20240309_100000.mp4";
    const QByteArray channels = " DAT00018vid:[1]1280.720.30";
    const QString none;
    const QString playing = QStringLiteral("playing.mp4");
    const QString temp = QStringLiteral("temp.mp4");
    const QString remux = QStringLiteral("remux R temp.mp4");
    const QString convert = QStringLiteral("convert temp.mp4 playing.mp4");
    const QString recover = QStringLiteral("recover R temp.mp4 --ch1 1280x720@30");
    const QStringList merge{QStringLiteral("merge temp.mp4 temp.mkv"),
                            QStringLiteral("convert temp2.mp4 temp3.mp4")};
    const QString wrongSets = QStringLiteral("select mov/normal/R -> sps_id 32 out of range");
    const QString noRemux = QStringLiteral("select mov/normal/R -> Failed to remux MP4 file.");
    const QString silent = QStringLiteral("select R -> has no audio.");
    const QString uncounted = QStringLiteral("getAudioCount failure: can't open");
    const QString unloaded = QStringLiteral("loadMp4 failure: can't open");

    row("with sound", mp4, "2 1", none, {remux, convert}, {QStringLiteral("R"), playing}, true, {});
    row("without sound", mp4, "2 0", none, {remux}, {QStringLiteral("R"), temp}, true, {silent});
    row("sound that can't be made", mp4, "2 1 no-aac", none, {remux, convert}, {QStringLiteral("R"), temp},
        true, {});
    row("broken parameter sets", mp4, "2 1 damaged" + channels, none,
        QStringList{remux, recover} + merge + QStringList{convert}, {temp, playing}, true, {wrongSets});
    row("broken sets and no sound", mp4, "2 0 damaged" + channels, none, {remux, recover}, {temp, temp}, true,
        {wrongSets, silent});
    row("no remux", mp4, "2 1 unreadable" + channels, none,
        QStringList{remux, recover} + merge + QStringList{convert}, {temp, playing}, true, {noRemux});
    row("unfinished", "N_20240309_100000.mov", "2 1" + channels, none,
        QStringList{recover} + merge + QStringList{convert}, {temp, playing}, true, {});
    row("named unfinished inside", "N_20240309_100000.mov.mp4", "2 0" + channels, none, {recover},
        {temp, temp}, true, {silent});
    row("not named so by case", "N_20240309_100000.MOV", "2 0", none, {remux}, {QStringLiteral("R"), temp},
        true, {silent});
    row("no description of the channels", mp4, "2 1 damaged", none, {remux}, {temp, temp}, false,
        {wrongSets, uncounted, silent, unloaded});
    row("nothing to be found", mp4, "2 1 hopeless" + channels, none, {remux, recover}, {temp, temp}, false,
        {noRemux, uncounted, silent, unloaded});
    row("empty on the card", mp4, "", none, {remux}, {temp, temp}, false,
        {noRemux, uncounted, silent, unloaded});
    row("can't be opened", mp4, "2 1", playing, {remux, convert}, {QStringLiteral("R"), playing}, false,
        {unloaded});
    row("repaired and can't be opened", mp4, "2 0 damaged" + channels, temp, {remux, recover}, {temp, temp},
        false, {wrongSets, uncounted, silent, unloaded});
}

void SelectionTest::playsWhatCanBePlayed()
{
    QFETCH(const QString, name);
    QFETCH(const QByteArray, content);
    QFETCH(const QStringList, steps);
    QFETCH(const bool, isPlayed);
    QFETCH(const QString, unopenable);
    f->unopenable = unopenable;
    f->add(name, content);
    f->tools().space = SessionFixture::noRoom; // no background extraction
    QVERIFY(f->show(1));
    f->tools().clearCalls();
    QStringList messages;
    connect(f->model.get(), &AppViewModel::procMessageChanged, this,
            [&] { messages.append(f->model->procMessage().value_or(QString())); });
    LogCapture log;
    QCoro::waitFor(f->model->selectIndex(0));

    QStringList shown{QStringLiteral("영상 다운로드 중입니다. 잠시만 기다려주세요."), QString()};
    if (!steps.filter(QStringLiteral("recover")).isEmpty() || (!isPlayed && unopenable.isEmpty()))
        shown += {QStringLiteral("영상을 복구 중입니다. 잠시만 기다려주세요."), QString()};
    QCOMPARE(messages, shown);
    const auto generic = [&name](QStringList texts) {
        return texts.replaceInStrings(name, QStringLiteral("R"));
    };
    QTEST(generic(f->tools().calls().filter(
              QRegularExpression(QStringLiteral("^(remux|recover|merge|convert)")))),
          "steps");
    QTEST(generic(f->opened), "opened");
    const QString tag = QStringLiteral("[AppViewModel] ");
    QTEST(generic(log.lines().filter(tag).replaceInStrings(tag, QString()))
              .filter(QRegularExpression(QStringLiteral("^(?!loading)"))),
          "log");

    QCOMPARE(f->isPlaying(), isPlayed);
    QCOMPARE(f->model->alertMessage(),
             isPlayed ? std::nullopt
                      : std::optional(QStringLiteral("영상 파일이 손상되어 정상적으로 재생할 수 없습니다.")));
    QCOMPARE(f->model->selectedIndex(), std::optional(0));
    QVERIFY(f->model->filtered().at(0).isSelected);
    // Nothing of the work is left but what plays.
    QDir folder(processvalues::tempRoot() + QStringLiteral("mov/normal"));
    folder.setNameFilters({QStringLiteral("temp*")});
    QCOMPARE(isPlayed ? folder.entryList(QDir::Files) : QStringList(), QStringList());
}

void SelectionTest::ownFailureIsNotDamage_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("alert"); // of DISK and CARD
    QTest::addColumn<QString>("log");
    QTest::newRow("no room to fetch it")
        << QByteArray("card-full") << messages::diskFull(QStringLiteral("DISK"))
        << QStringLiteral("no room on DISK");
    QTest::newRow("a card that the tool may not open")
        << QByteArray("unreadable-card")
        << messages::notRead(QStringLiteral("ext4util: CARD: device-not-opened"))
        << QStringLiteral("device-not-opened");
}

void SelectionTest::ownFailureIsNotDamage()
{
    QFETCH(const QByteArray, content);
    f->add(at("100000"), content);
    f->add(QStringLiteral("normal"), {at("090000")});
    f->tools().space = SessionFixture::noRoom; // no background extraction
    QVERIFY(f->show(2));
    f->tools().clearCalls();
    LogCapture capture;
    QCOMPARE(QCoro::waitFor(f->model->selectIndex(0)), Selection::Failed);
    const auto actual = [&](QString text) {
        text.replace(QStringLiteral("DISK"), f->model->procManager().mirrorDisk());
        return text.replace(QStringLiteral("CARD"), f->card);
    };
    QFETCH(const QString, alert);
    QFETCH(const QString, log);
    QCOMPARE(f->model->alertMessage(), actual(alert));
    const QStringList lines = capture.lines().filter(QStringLiteral("select mov/normal/") + at("100000"));
    QVERIFY(!lines.filter(actual(log)).isEmpty());
    QCOMPARE(f->model->procMessage(), std::optional<QString>());
    QCOMPARE(f->tools().calls().filter(QStringLiteral("remux")).size(), 0);
    QCOMPARE(QCoro::waitFor(f->model->selectIndex(1)), Selection::Plays);
}

void SelectionTest::endsWithItsCard_data()
{
    QTest::addColumn<QString>("step"); // that goes on while the card goes
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("isFetched"); // what is lost after that is told
    QTest::addColumn<bool>("anotherCardComes"); // meanwhile
    const QByteArray sound = "2 1";
    const QByteArray damaged = "2 1 damaged DAT00018vid:[1]1280.720.30";
    const auto row = [](const char *step, const QByteArray &content, bool isFetched, bool anotherCardComes) {
        QTest::addRow("%s, %s", step, anotherCardComes ? "another card" : "no card")
            << QString::fromLatin1(step) << content << isFetched << anotherCardComes;
    };
    row("fetch", sound, false, false);
    row("fetch", sound, false, true);
    row("remux", sound, true, false);
    row("count", sound, true, true);
    row("recover", damaged, true, true);
    row("merge", damaged, true, false);
    row("convert", sound, true, true);
    row("load", sound, true, false);
    row("load", sound, true, true);
}

void SelectionTest::endsWithItsCard()
{
    QFETCH(const QString, step);
    QFETCH(const QByteArray, content);
    QFETCH(const bool, isFetched);
    QFETCH(const bool, anotherCardComes);
    f->add(at("100000"), content);
    f->tools().space = SessionFixture::noRoom;
    QVERIFY(f->show(1));
    const QHash<QString, QString> openings{{QStringLiteral("count"), at("100000")},
                                           {QStringLiteral("load"), QStringLiteral("playing.mp4")}};
    const QString tool = step == u"fetch" ? u"read-" % at("100000") : step;
    f->heldOpening = openings.value(step);
    f->hold(tool);
    auto selection = f->model->selectIndex(0);
    QTRY_VERIFY(step == u"fetch" ? f->readsOf(at("100000")) == 1
                    : openings.contains(step)
                    ? f->opened.contains(f->heldOpening)
                    : !f->tools().calls().filter(QRegularExpression(u'^' + step)).isEmpty());
    f->detach();
    const QString second = f->addCard();
    f->add(second, QStringLiteral("normal"), {at("200000")});
    if (anotherCardComes) {
        f->attach(second);
        QTRY_COMPARE(f->names(), QStringList(at("200000")));
    }
    f->release(tool);
    f->heldOpening.clear();
    QCOMPARE(QCoro::waitFor(std::move(selection)), Selection::Dropped);
    QVERIFY(!f->isPlaying());
    QVERIFY(f->model->videoPlayers().isEmpty() && f->model->playerManager()->videoPlayers().isEmpty());
    QCOMPARE(f->model->procMessage(), std::optional<QString>());
    QCOMPARE(f->model->alertMessage(), isFetched ? std::optional(messages::cardRemoved()) : std::nullopt);
    QVERIFY(!f->model->isSelecting());

    f->attach(second);
    QTRY_COMPARE(f->names(), QStringList(at("200000")));
    QCOMPARE(f->readSize(f->model->filtered(), at("200000")), 0);
    QCOMPARE(QCoro::waitFor(f->model->selectIndex(0)), Selection::Plays);
}

void SelectionTest::waitsForARunningExtractionOfTheRecording()
{
    const QString name = at("100000");
    f->add(QStringLiteral("normal"), {name});
    f->hold(u"read-" % name);
    QVERIFY(f->show(1));
    QTRY_COMPARE(f->readsOf(name), 1);
    auto selection = f->model->selectIndex(0);
    QTRY_VERIFY(f->model->procMessage());
    f->release(u"read-" % name);
    QCOMPARE(QCoro::waitFor(std::move(selection)), Selection::Plays);
    QCOMPARE(f->readsOf(name), 1);

    // Also where the row knows a size already, and the tool has removed the file.
    const QString path = QStringLiteral("mov/normal/") + name;
    f->hold(u"read-" % name);
    f->model->procManager().deleteDirectory(processvalues::tempRoot() + path);
    auto extraction = f->model->procManager().extract(path, 0);
    QTRY_COMPARE(f->readsOf(name), 2);
    f->opened.clear();
    selection = f->model->selectIndex(0);
    QTest::qWait(300);
    QCOMPARE(f->model->procMessage(), std::optional<QString>());
    QCOMPARE(f->opened, QStringList());
    f->release(u"read-" % name);
    QCOMPARE(QCoro::waitFor(std::move(selection)), Selection::Plays);
    QVERIFY(QCoro::waitFor(std::move(extraction)).isWhole());
}

void SelectionTest::freedRecordingIsFetchedAgain()
{
    f->add(QStringLiteral("normal"), {at("100000"), at("110000")});
    QVERIFY(f->showAllExtracted());
    QCOMPARE(QCoro::waitFor(f->model->selectIndex(1)), Selection::Plays);
    f->tools().space = {0, 100};
    QVERIFY(!QCoro::waitFor(f->model->procManager().makeRoom(1)));
    f->tools().space = SessionFixture::noRoom;
    QVERIFY(f->readSize(f->model->filtered(), at("100000")) > 0); // plays
    QVERIFY(f->readSize(f->model->filtered(), at("110000")) > 0); // is the next one
    QCOMPARE(QCoro::waitFor(f->model->selectIndex(0)), Selection::Plays);
    f->tools().space = {0, 100};
    QVERIFY(!QCoro::waitFor(f->model->procManager().makeRoom(1)));
    QCOMPARE(f->readSize(f->model->filtered(), at("100000")), 0);
    QCOMPARE(f->readSize(f->model->fileList(), at("100000")), 0);
    f->tools().space = SessionFixture::noRoom;
    const qsizetype reads = f->readsOf(at("100000"));
    QCOMPARE(QCoro::waitFor(f->model->selectIndex(1)), Selection::Plays);
    QCOMPARE(f->readsOf(at("100000")), reads + 1);
}

void SelectionTest::alertIsTheEndOfItsSelectionAlone()
{
    f->add(at("110000"), "2 1 hopeless");
    f->add(QStringLiteral("normal"), {at("090000"), at("100000")});
    f->hold(u"read-" % at("100000")); // the background task is at it
    f->attach();
    QTRY_COMPARE(f->countOf(QStringLiteral("read mov/normal/") + at("100000")), 1);
    QTRY_COMPARE(f->names().size(), 3);
    QCoro::waitFor(f->model->selectIndex(0));
    QVERIFY(f->model->alertMessage());
    f->release(u"read-" % at("100000"));
    QVERIFY(QTest::qWaitFor(
        [&] { return f->countOf(QStringLiteral("end read mov/normal/") + at("100000")) == 1; }));
    QTest::qWait(50);
    QCOMPARE(f->readSize(f->model->fileList(), at("100000")), 0); // the background task stays stopped

    QCoro::waitFor(f->model->selectIndex(1)); // with the alert still up
    QVERIFY(f->isPlaying());
    QTRY_VERIFY(f->readSize(f->model->fileList(), at("090000")) > 0);
}

void SelectionTest::tabChangeDuringTheFetchLeavesOtherRowsAlone()
{
    f->add(QStringLiteral("normal"), {at("100000")});
    f->add(QStringLiteral("event"), {at("110000"), at("120000")});
    f->tools().space = SessionFixture::noRoom;
    f->hold(u"read-" % at("100000"));
    QVERIFY(f->show(1));
    auto selection = f->model->selectIndex(0);
    QTRY_COMPARE(f->countOf(QStringLiteral("read mov/normal/") + at("100000")), 1);
    f->model->chooseTab(1);
    QTRY_COMPARE(f->names(), QStringList({at("120000"), at("110000")}));
    f->release(u"read-" % at("100000"));
    QCoro::waitFor(std::move(selection));
    QVERIFY(f->isPlaying());
    QCOMPARE(f->opened.last(), QStringLiteral("playing.mp4"));
    for (const FileListItem &item : f->model->filtered())
        QVERIFY(item.read == 0 && !item.isSelected);
}

void SelectionTest::recordingsNamedLikeWorkFilesSurvive()
{
    const QStringList reserved{QStringLiteral("temp.mp4"), QStringLiteral("playing.mp4"),
                               QStringLiteral("_temp2.mp4"), QStringLiteral("__temp.mp3")};
    f->add(QStringLiteral("normal"), reserved);
    f->add(at("100000"), "2 1 damaged DAT00018vid:[1]1280.720.30");
    QVERIFY(f->showAllExtracted());
    const QDir folder(processvalues::tempRoot() + QStringLiteral("mov/normal"));
    for (const QString &name : {at("100000"), reserved[0], reserved[1], reserved[2]}) {
        QCoro::waitFor(f->model->selectIndex(f->row(name)));
        QCOMPARE(f->model->alertMessage(), std::optional<QString>());
        for (const QString &file : reserved) {
            QFile copy(folder.filePath(file));
            QVERIFY(copy.open(QIODevice::ReadOnly));
            QCOMPARE(copy.readAll(), "2 1 " + file.toUtf8());
        }
    }
    QCOMPARE(folder.entryList(QDir::Files).size(), 6); // the recordings, and what plays
}

void SelectionTest::previewIsResetForAnotherNumberOfChannels()
{
    f->add(at("100000"), "2 1");
    f->add(at("110000"), "2 0");
    f->add(at("120000"), "5 1");
    QVERIFY(f->showAllExtracted());
    QCoro::waitFor(f->model->selectIndex(2));
    QCOMPARE(f->model->previousChannels(), 2);
    f->model->setVideoChannel(1);
    QCoro::waitFor(f->model->selectIndex(1));
    QCOMPARE(f->model->videoChannel(), 1);
    QCoro::waitFor(f->model->selectIndex(0));
    QCOMPARE(f->model->videoChannel(), -1);
    QCOMPARE(f->model->videoPlayerObjects().size(), 5);
    QCOMPARE(QCoro::waitFor(f->model->getVideoCount(f->tools().path(QStringLiteral("missing")))), 0);
}

void SelectionTest::nextGoesDownPreviousAndTheEndGoUp()
{
    f->add(QStringLiteral("normal"), {at("100000"), at("110000"), at("120000")});
    QCoro::waitFor(f->model->selectNext());
    QCOMPARE(f->model->selectedIndex(), std::optional<int>());
    QVERIFY(f->showAllExtracted());
    QCoro::waitFor(f->model->selectNext());
    QCOMPARE(f->model->selectedIndex(), std::optional<int>());
    QCoro::waitFor(f->model->selectIndex(1));
    QCoro::waitFor(f->model->selectNext());
    QCOMPARE(f->model->selectedIndex(), std::optional(2));
    QCoro::waitFor(f->model->selectNext());
    QCOMPARE(f->model->selectedIndex(), std::optional(2));
    QCoro::waitFor(f->model->selectPrevious());
    QCOMPARE(f->model->selectedIndex(), std::optional(1));

    f->opened.clear();
    static_cast<ScriptedTrackPlayer *>(f->model->videoPlayers().at(0).get())->end();
    QTRY_COMPARE(f->model->selectedIndex(), std::optional(0));
    QTRY_COMPARE(f->opened, QStringList({at("120000"), QStringLiteral("playing.mp4")}));
    QTRY_VERIFY(f->isPlaying());
    static_cast<ScriptedTrackPlayer *>(f->model->videoPlayers().at(0).get())->end();
    QTest::qWait(0);
    QVERIFY(!f->isPlaying());
    QCOMPARE(f->opened.size(), 2);

    // After another card's shorter list the index may lie beyond the end.
    QCoro::waitFor(f->model->selectIndex(2));
    f->model->clearRows();
    QCoro::waitFor(f->model->selectNext());
    QCoro::waitFor(f->model->selectPrevious());
    QCOMPARE(f->model->selectedIndex(), std::optional(2));
}

void SelectionTest::telemetryArrivesBesideThePictures()
{
    addRecordingWithTelemetry(at("100000"), 10);
    f->add(QStringLiteral("normal"), {at("110000")});
    QVERIFY(f->show(2));
    f->model->tapRow(f->row(at("100000")));
    QTRY_COMPARE(f->model->mediaData()->gpsEvents().size(), 2);
    QCOMPARE(f->model->mediaData()->gpsEvents().last().elapse, std::optional(60.0)); // the movie's length
    QCOMPARE(f->model->mediaData()->speedKmh(30), 18);

    // The next one has none: nothing of the first stays.
    QTRY_VERIFY(f->readSize(f->model->filtered(), at("110000")) > 0); // the first selection's last step
    const QSignalSpy loads(f->model->mediaData(), &MediaDataViewModel::eventsChanged);
    f->model->tapRow(f->row(at("110000")));
    QTRY_VERIFY(loads.size() >= 2); // the reset, and what was scanned
    QVERIFY(f->model->mediaData()->gpsEvents().isEmpty());
    QCOMPARE(f->model->mediaData()->speedKmh(30), 0);
}

void SelectionTest::telemetryOfAnEarlierSelectionIsDropped()
{
    addRecordingWithTelemetry(at("100000"), 10);
    addRecordingWithTelemetry(at("110000"), 20);
    QVERIFY(f->showAllExtracted());

    // Nothing is scanned until both have been selected.
    QThreadPool &pool = *QThreadPool::globalInstance();
    const int usualThreads = pool.maxThreadCount();
    pool.setMaxThreadCount(1);
    QSemaphore hold;
    pool.start([&hold] { hold.acquire(); });
    QList<int> speeds;
    const QObject here;
    connect(f->model->mediaData(), &MediaDataViewModel::eventsChanged, &here,
            [&] { speeds.append(f->model->mediaData()->speedKmh(30)); });
    for (const qsizetype count : {1, 2}) {
        f->model->tapRow(f->row(at(count == 1 ? "100000" : "110000")));
        QTRY_COMPARE(speeds.size(), count); // the reset
    }
    hold.release();
    QTRY_COMPARE(speeds, (QList<int>{0, 0, 37}));
    pool.setMaxThreadCount(usualThreads);
}

void SelectionTest::exportsNeedARecording()
{
    addRecordingWithTelemetry(at("100000"), 10);
    QVERIFY(f->show(1));
    f->model->exportLocation();
    f->model->exportGSensor();
    QCOMPARE(f->model->alertMessage(), std::optional<QString>());
    f->model->tapRow(0);
    QTRY_COMPARE(f->model->mediaData()->gpsEvents().size(), 2);
    f->model->exportLocation();
    QCOMPARE(f->model->alertMessage(), QStringLiteral("GPS 데이터(location.txt)를 SD 카드에 저장했습니다."));
    f->model->exportGSensor(); // told so even though no volume is there to take it
    QCOMPARE(f->model->alertMessage(),
             QStringLiteral("G-Sensor 데이터(gsensor.txt)를 SD 카드에 저장했습니다."));
}

QTEST_GUILESS_MAIN(SelectionTest)
#include "tst_selection.moc"
