#include "app/session/appviewmodel.h"
#include "common/preferences.h"
#include "common/processvalues.h"
#include "support/logcapture.h"
#include "support/scriptedcard.h"
#include "support/scriptedmovie.h"

#include <QCoroTask>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>
#include <QThreadPool>

namespace {

const QString kAll = QStringLiteral("all");

constexpr DiskSpace room{100'000'000'000, 100'000'000'000};
constexpr DiskSpace noRoom{1'900'000'000, 20'000'000'000};

template <typename... Values> QByteArray asciiText(const char *format, Values... values)
{
    return QString::asprintf(format, values...).toLatin1();
}

QString at(const char *time) { return QStringLiteral("N_20240309_%1.mp4").arg(QLatin1String(time)); }

} // namespace

/// The state machine of the list and of a selection, on scripted tools and players.
class AppViewModelTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void cardSessionListsAndExtractsNewestFirst();
    void tabsShowCopies();
    void lastFilterRequestWins();
    void sizesReadDuringAFilterStepAreKept();
    void cardGoneDuringTheReadingStaysGone();
    void secondCardWinsOverTheFirst();

    void selectionRunsInOrder();
    void selectionsAreRefusedWhileOneRuns();
    void selectionPlaysWhatCanBePlayed_data();
    void selectionPlaysWhatCanBePlayed();
    void cardGoneDuringTheFetchEndsTheSelection();
    void tabChangeDuringTheFetchLeavesOtherRowsAlone();
    void clickWaitsForARunningExtractionOfThatRecording();
    void alertIsTheEndOfItsSelectionAlone();
    void recordingsNamedLikeWorkFilesSurvive();
    void previewIsResetForAnotherNumberOfChannels();
    void nextGoesDownPreviousAndTheEndGoUp();
    void telemetryArrivesBesideThePictures();
    void telemetryOfAnEarlierSelectionIsDropped();
    void exportsNeedARecording();

    void cancelTakesEffectAfterTheRunningTool();
    void extractionWaitsForAlertsAndRoom();

private:
    void attach(const QString &card);
    void detach();
    void addRecordings(const QString &card, const QString &type, const QStringList &names);
    /// Two positions at this speed in knots, two seconds apart, in the recording's bytes.
    void addRecordingWithTelemetry(const QString &name, int knots);
    void loadWholeCard();
    QCoro::Task<OpenedMovie> open(QString path);
    [[nodiscard]] int row(const QString &name) const;
    [[nodiscard]] QStringList names() const;
    [[nodiscard]] quint64 readSize(const FileList &list, const QString &name) const;
    [[nodiscard]] qsizetype countOf(const QString &call) const { return m_tools->calls().count(call); }

    std::unique_ptr<ScriptedTools> m_tools;
    std::unique_ptr<Preferences> m_preferences;
    std::unique_ptr<AppViewModel> m_model;
    QString m_card;
    QStringList m_opened; ///< names of the files that were opened, in order
    QString m_unopenable; ///< such as "temp.mp4"
};

void AppViewModelTest::initTestCase()
{
    m_tools = std::make_unique<ScriptedTools>();
    m_preferences = std::make_unique<Preferences>(m_tools->path(QStringLiteral("preferences")));
}

void AppViewModelTest::init()
{
    static int number = 0;
    m_tools->clearCalls();
    m_tools->space = room;
    m_opened.clear();
    m_unopenable.clear();
    m_card = m_tools->addCard(QStringLiteral("card%1").arg(++number));
    m_model = std::make_unique<AppViewModel>(
        m_tools->desktop, [this](QString path) { return open(std::move(path)); }, *m_preferences);
    QVERIFY(QCoro::waitFor(m_model->procManager().setup()));
}

void AppViewModelTest::cleanup()
{
    detach();
    QTest::qWait(0);
    m_model.reset();
}

/// A recording's text begins with its numbers of video and sound tracks, such as "2 1".
QCoro::Task<OpenedMovie> AppViewModelTest::open(QString path)
{
    m_opened.append(QFileInfo(path).fileName());
    OpenedMovie opened;
    QFile file(path);
    if (QFileInfo(path).fileName() == m_unopenable || !file.open(QIODevice::ReadOnly)) {
        opened.error = QStringLiteral("can't open");
        co_return opened;
    }
    const QByteArray text = file.readAll();
    QList<double> video(text.mid(0, 1).toInt(), 60.0);
    QList<double> audio(text.mid(2, 1).toInt(), 60.0);
    opened.movie = std::make_shared<ScriptedMovie>(video, audio);
    co_return opened;
}

void AppViewModelTest::attach(const QString &card)
{
    processvalues::setCardDevicePath(card);
    m_model->loadFileList();
}

void AppViewModelTest::detach()
{
    processvalues::setCardDevicePath(std::nullopt);
    m_model->unloadFileList();
}

void AppViewModelTest::addRecordings(const QString &card, const QString &type, const QStringList &names)
{
    for (const QString &name : names)
        m_tools->addRecording(card, type, name, "2 1 " + name.toUtf8());
}

void AppViewModelTest::addRecordingWithTelemetry(const QString &name, int knots)
{
    QByteArray bytes = "2 0 ";
    for (const int second : {1, 3}) {
        const QByteArray sentence =
            asciiText("$GPRMC,08050%d,A,3730.0,N,12700.0,E,%d,90,090324", second, knots);
        bytes += asciiText("xGPS%05d", int(sentence.size())) + sentence;
    }
    m_tools->addRecording(m_card, QStringLiteral("normal"), name, bytes);
}

/// Attaches the card and waits until everything on it has been extracted.
void AppViewModelTest::loadWholeCard()
{
    attach(m_card);
    const auto isRead = [](const FileListItem &item) { return item.read > 0; };
    QTRY_VERIFY(m_model->fileCount() > 0
                && std::all_of(m_model->fileList().cbegin(), m_model->fileList().cend(), isRead));
    QTRY_VERIFY(!m_model->filtered().isEmpty());
}

int AppViewModelTest::row(const QString &name) const { return static_cast<int>(names().indexOf(name)); }

QStringList AppViewModelTest::names() const
{
    QStringList result;
    for (const FileListItem &item : m_model->filtered())
        result.append(item.name);
    return result;
}

quint64 AppViewModelTest::readSize(const FileList &list, const QString &name) const
{
    for (const FileListItem &item : list) {
        if (item.name == name)
            return item.read;
    }
    return 0;
}

void AppViewModelTest::cardSessionListsAndExtractsNewestFirst()
{
    addRecordings(m_card, QStringLiteral("normal"),
                  {at("100000"), QStringLiteral("undated.mp4"), at("120000")});
    addRecordings(m_card, QStringLiteral("event"), {at("110000")});
    QSignalSpy lists(m_model.get(), &AppViewModel::fileListChanged);
    QSignalSpy resets(m_model->rows(), &QAbstractItemModel::modelReset);
    attach(m_card);
    QCOMPARE(m_tools->calls().size(), 0); // nothing happens within the call
    QTRY_COMPARE(countOf(QStringLiteral("end read mov/normal/undated.mp4")), 1);
    QTRY_VERIFY(readSize(m_model->filtered(), QStringLiteral("undated.mp4")) > 0);

    const QStringList expectedReads{
        QStringLiteral("read mov/normal/") + at("120000"), QStringLiteral("read mov/event/") + at("110000"),
        QStringLiteral("read mov/normal/") + at("100000"), QStringLiteral("read mov/normal/undated.mp4")};
    QCOMPARE(m_tools->calls().filter(QRegularExpression(QStringLiteral("^read mov"))), expectedReads);
    QCOMPARE(names(), QStringList({at("120000"), at("100000"), QStringLiteral("undated.mp4")}));
    QCOMPARE(m_model->fileCount(), 4);
    QCOMPARE(resets.size(), 1);
    QCOMPARE(lists.size(), 1 + 4); // the list, and one size each
    QCOMPARE(readSize(m_model->fileList(), at("110000")), 4 + at("110000").size());
}

void AppViewModelTest::tabsShowCopies()
{
    addRecordings(m_card, QStringLiteral("normal"), {at("100000"), at("120000")});
    addRecordings(m_card, QStringLiteral("saved"), {at("110000")});
    loadWholeCard();
    QSignalSpy resets(m_model->rows(), &QAbstractItemModel::modelReset);

    m_model->setAllChecked(true);
    m_model->setChecked(1, false);
    QVERIFY(m_model->isAllChecked());
    QCOMPARE(m_model->checkedItems().size(), 1);
    m_model->chooseTab(0); // is chosen already
    QTest::qWait(0);
    QCOMPARE(m_model->checkedItems().size(), 1);
    QCOMPARE(resets.size(), 0);

    m_model->setUploaded(true);
    m_model->chooseTab(5);
    QVERIFY(!m_model->uploaded());
    QTRY_COMPARE(names(), QStringList({at("120000"), at("110000"), at("100000")}));
    QCOMPARE(resets.size(), 1);
    QCOMPARE(m_model->checkedItems().size(), 0);
    QVERIFY(m_model->isAllChecked());
    m_model->chooseTab(4);
    QTRY_COMPARE(names(), QStringList(at("110000")));
    m_model->chooseTab(2);
    QTRY_COMPARE(names(), QStringList());

    m_model->loadFileList();
    QCOMPARE(m_model->selectedTab(), 0);
    QVERIFY(!m_model->isAllChecked());
}

void AppViewModelTest::lastFilterRequestWins()
{
    addRecordings(m_card, QStringLiteral("normal"), {at("100000")});
    addRecordings(m_card, QStringLiteral("event"), {at("110000")});
    loadWholeCard();
    auto first = m_model->applyFilter(kAll);
    auto second = m_model->applyFilter(QStringLiteral("event"));
    QCoro::waitFor(std::move(second));
    QCoro::waitFor(std::move(first));
    QCOMPARE(names(), QStringList(at("110000")));

    auto late = m_model->applyFilter(kAll);
    m_model->clearRows(); // the card goes
    QCoro::waitFor(std::move(late));
    QCOMPARE(names(), QStringList());
}

void AppViewModelTest::sizesReadDuringAFilterStepAreKept()
{
    const QString name = at("100000");
    addRecordings(m_card, QStringLiteral("normal"), {name});
    m_tools->hold(u"read-" % name);
    attach(m_card);
    QTRY_COMPARE(names(), QStringList(name));
    QTRY_COMPARE(countOf(QStringLiteral("read mov/normal/") + name), 1);

    // The size is stored between the filter step's copy of the list and its result.
    QThreadPool::globalInstance()->setMaxThreadCount(1);
    QSemaphore gate;
    QThreadPool::globalInstance()->start([&gate] { gate.acquire(); });
    auto filtering = m_model->applyFilter(kAll);
    m_tools->release(u"read-" % name);
    QTRY_VERIFY(readSize(m_model->fileList(), name) > 0);
    gate.release();
    QCoro::waitFor(std::move(filtering));
    QThreadPool::globalInstance()->setMaxThreadCount(QThread::idealThreadCount());
    QVERIFY(readSize(m_model->filtered(), name) > 0);
}

void AppViewModelTest::cardGoneDuringTheReadingStaysGone()
{
    addRecordings(m_card, QStringLiteral("normal"), {at("100000")});
    m_tools->hold(QStringLiteral("ls-saved"));
    attach(m_card);
    QTRY_COMPARE(countOf(QStringLiteral("ls mov/saved")), 1);
    detach();
    QSignalSpy readings(&m_model->procManager(), &ProcessManager::readingEnded);
    m_tools->release(QStringLiteral("ls-saved"));
    QVERIFY(readings.wait());
    QCOMPARE(m_model->fileCount(), 0);
    QCOMPARE(names(), QStringList());
    QCOMPARE(m_tools->calls().filter(QStringLiteral("read mov/normal")).size(), 0);
}

void AppViewModelTest::secondCardWinsOverTheFirst()
{
    addRecordings(m_card, QStringLiteral("normal"), {at("100000")});
    const QString second = m_tools->addCard(m_card.section(u'/', -1) + u'b');
    addRecordings(second, QStringLiteral("normal"), {at("200000"), at("210000")});
    m_tools->hold(QStringLiteral("ls-park"));
    attach(m_card);
    QTRY_COMPARE(countOf(QStringLiteral("ls mov/park")), 1);
    attach(second);
    m_tools->release(QStringLiteral("ls-park"));
    QTRY_COMPARE(names(), QStringList({at("210000"), at("200000")}));
    QTRY_VERIFY(readSize(m_model->fileList(), at("200000")) > 0);
    QCOMPARE(m_tools->calls().filter(at("100000")).size(), 0);
}

void AppViewModelTest::selectionRunsInOrder()
{
    addRecordings(m_card, QStringLiteral("normal"), {at("100000"), at("110000"), at("120000")});
    m_tools->space = noRoom; // no background extraction
    attach(m_card);
    QTRY_COMPARE(names().size(), 3);
    m_tools->clearCalls();
    QStringList steps;
    connect(m_model.get(), &AppViewModel::procMessageChanged, this, [&] {
        steps.append(m_model->procMessage() ? QStringLiteral("message") : QStringLiteral("no message"));
    });
    m_model->tapRow(1);
    QTRY_VERIFY(m_model->playerManager()->isPlaying());
    QCOMPARE(m_model->selectedIndex(), std::optional(1));
    QVERIFY(m_model->filtered().at(1).isSelected);
    QCOMPARE(steps, QStringList({QStringLiteral("message"), QStringLiteral("no message")}));
    QCOMPARE(m_model->videoPlayers().size(), 2);
    QCOMPARE(m_model->alertMessage(), std::optional<QString>());

    m_tools->space = room;
    const QString preload = QStringLiteral("read mov/normal/") + at("120000");
    QTRY_VERIFY(readSize(m_model->filtered(), at("120000")) > 0);
    QCOMPARE(m_tools->calls().mid(0, 5),
             QStringList({QStringLiteral("read mov/normal/") + at("110000"),
                          QStringLiteral("end read mov/normal/") + at("110000"),
                          QStringLiteral("remux ") + at("110000") + QStringLiteral(" temp.mp4"),
                          QStringLiteral("convert temp.mp4 playing.mp4"), preload}));
    QCOMPARE(m_opened, QStringList({at("110000"), QStringLiteral("playing.mp4")}));
    const QDir folder(processvalues::tempRoot() + QStringLiteral("mov/normal"));
    QVERIFY(!folder.exists(QStringLiteral("temp.mp4")));
    QVERIFY(folder.exists(QStringLiteral("playing.mp4")));
    // What a selection extracted itself isn't extracted again by the background task, which goes on
    // afterwards.
    QTRY_VERIFY(readSize(m_model->fileList(), at("100000")) > 0);
    QCOMPARE(countOf(preload), 1);
}

void AppViewModelTest::selectionsAreRefusedWhileOneRuns()
{
    addRecordings(m_card, QStringLiteral("normal"), {at("100000"), at("110000")});
    loadWholeCard();
    m_model->setProcMessage(QStringLiteral("busy"));
    QCoro::waitFor(m_model->select(m_model->filtered().at(0)));
    QCOMPARE(m_model->selectedIndex(), std::optional<int>());
    m_model->setProcMessage(std::nullopt);

    auto running = m_model->selectIndex(1);
    QCoro::waitFor(m_model->selectIndex(0)); // moves the highlight, and is refused
    QVERIFY(m_model->filtered().at(0).isSelected);
    QCoro::waitFor(std::move(running));
    QCOMPARE(m_model->selectedIndex(), std::optional(1));
    QCOMPARE(m_opened.size(), 2);

    FileListItem unknown = m_model->filtered().at(0);
    unknown.id = QUuid::createUuid();
    QCoro::waitFor(m_model->select(unknown));
    QCOMPARE(m_model->selectedIndex(), std::optional(1));
    QVERIFY(m_model->playerManager()->isPlaying());
    QCoro::waitFor(m_model->selectIndex(0)); // and another one is taken again
    QCOMPARE(m_model->selectedIndex(), std::optional(0));
}

void AppViewModelTest::selectionPlaysWhatCanBePlayed_data()
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

void AppViewModelTest::selectionPlaysWhatCanBePlayed()
{
    QFETCH(const QString, name);
    QFETCH(const QByteArray, content);
    QFETCH(const QStringList, steps);
    QFETCH(const bool, isPlayed);
    QFETCH(const QString, unopenable);
    m_unopenable = unopenable;
    m_tools->addRecording(m_card, QStringLiteral("normal"), name, content);
    m_tools->space = noRoom; // no background extraction
    attach(m_card);
    QTRY_COMPARE(names().size(), 1);
    m_tools->clearCalls();
    QStringList messages;
    connect(m_model.get(), &AppViewModel::procMessageChanged, this,
            [&] { messages.append(m_model->procMessage().value_or(QString())); });
    LogCapture log;
    QCoro::waitFor(m_model->selectIndex(0));

    QStringList shown{QStringLiteral("영상 다운로드 중입니다. 잠시만 기다려주세요."), QString()};
    if (!steps.filter(QStringLiteral("recover")).isEmpty() || (!isPlayed && unopenable.isEmpty()))
        shown += {QStringLiteral("영상을 복구 중입니다. 잠시만 기다려주세요."), QString()};
    QCOMPARE(messages, shown);
    const auto generic = [&name](QStringList texts) {
        return texts.replaceInStrings(name, QStringLiteral("R"));
    };
    QTEST(generic(
              m_tools->calls().filter(QRegularExpression(QStringLiteral("^(remux|recover|merge|convert)")))),
          "steps");
    QTEST(generic(m_opened), "opened");
    const QString tag = QStringLiteral("[AppViewModel] ");
    QTEST(generic(log.lines().filter(tag).replaceInStrings(tag, QString()))
              .filter(QRegularExpression(QStringLiteral("^(?!loading)"))),
          "log");

    QCOMPARE(m_model->playerManager()->isPlaying(), isPlayed);
    QCOMPARE(m_model->alertMessage(),
             isPlayed ? std::nullopt
                      : std::optional(QStringLiteral("영상 파일이 손상되어 정상적으로 재생할 수 없습니다.")));
    QCOMPARE(m_model->selectedIndex(), std::optional(0));
    QVERIFY(m_model->filtered().at(0).isSelected);
    // Nothing of the work is left but what plays.
    QDir folder(processvalues::tempRoot() + QStringLiteral("mov/normal"));
    folder.setNameFilters({QStringLiteral("temp*")});
    QCOMPARE(isPlayed ? folder.entryList(QDir::Files) : QStringList(), QStringList());
}

void AppViewModelTest::alertIsTheEndOfItsSelectionAlone()
{
    m_tools->addRecording(m_card, QStringLiteral("normal"), at("110000"), "2 1 hopeless");
    addRecordings(m_card, QStringLiteral("normal"), {at("090000"), at("100000")});
    m_tools->hold(u"read-" % at("100000")); // the background task is at it
    attach(m_card);
    QTRY_COMPARE(countOf(QStringLiteral("read mov/normal/") + at("100000")), 1);
    QTRY_COMPARE(names().size(), 3);
    QCoro::waitFor(m_model->selectIndex(0));
    QVERIFY(m_model->alertMessage());
    m_tools->release(u"read-" % at("100000"));
    QVERIFY(
        QTest::qWaitFor([&] { return countOf(QStringLiteral("end read mov/normal/") + at("100000")) == 1; }));
    QTest::qWait(50);
    QCOMPARE(readSize(m_model->fileList(), at("100000")), 0); // the background task stays stopped

    QCoro::waitFor(m_model->selectIndex(1)); // with the alert still up
    QVERIFY(m_model->playerManager()->isPlaying());
    QTRY_VERIFY(readSize(m_model->fileList(), at("090000")) > 0);
}

void AppViewModelTest::cardGoneDuringTheFetchEndsTheSelection()
{
    addRecordings(m_card, QStringLiteral("normal"), {at("100000")});
    m_tools->space = noRoom;
    m_tools->hold(u"read-" % at("100000"));
    attach(m_card);
    QTRY_COMPARE(names().size(), 1);
    auto selection = m_model->selectIndex(0);
    QTRY_COMPARE(countOf(QStringLiteral("read mov/normal/") + at("100000")), 1);
    QVERIFY(m_model->procMessage());
    detach();
    // Another card of as many rows comes before the tool has ended.
    const QString second = m_tools->addCard(m_card.section(u'/', -1) + u'b');
    addRecordings(second, QStringLiteral("normal"), {at("200000")});
    attach(second);
    QTRY_COMPARE(names(), QStringList(at("200000")));
    m_tools->release(u"read-" % at("100000"));
    QCoro::waitFor(std::move(selection));
    QCOMPARE(m_model->procMessage(), std::optional<QString>());
    QCOMPARE(m_model->alertMessage(), std::optional<QString>());
    QCOMPARE(m_opened, QStringList());
    QCOMPARE(readSize(m_model->filtered(), at("200000")), 0);
    QCoro::waitFor(m_model->selectIndex(0)); // the state is idle again
    QVERIFY(m_model->playerManager()->isPlaying());
}

void AppViewModelTest::tabChangeDuringTheFetchLeavesOtherRowsAlone()
{
    addRecordings(m_card, QStringLiteral("normal"), {at("100000")});
    addRecordings(m_card, QStringLiteral("event"), {at("110000"), at("120000")});
    m_tools->space = noRoom;
    m_tools->hold(u"read-" % at("100000"));
    attach(m_card);
    QTRY_COMPARE(names().size(), 1);
    auto selection = m_model->selectIndex(0);
    QTRY_COMPARE(countOf(QStringLiteral("read mov/normal/") + at("100000")), 1);
    m_model->chooseTab(1);
    QTRY_COMPARE(names(), QStringList({at("120000"), at("110000")}));
    m_tools->release(u"read-" % at("100000"));
    QCoro::waitFor(std::move(selection));
    QVERIFY(m_model->playerManager()->isPlaying());
    QCOMPARE(m_opened.last(), QStringLiteral("playing.mp4"));
    for (const FileListItem &item : m_model->filtered())
        QVERIFY(item.read == 0 && !item.isSelected);
}

void AppViewModelTest::clickWaitsForARunningExtractionOfThatRecording()
{
    const QString name = at("100000");
    addRecordings(m_card, QStringLiteral("normal"), {name});
    m_tools->hold(u"read-" % name);
    attach(m_card);
    QTRY_COMPARE(countOf(QStringLiteral("read mov/normal/") + name), 1);
    QTRY_COMPARE(names().size(), 1);
    auto selection = m_model->selectIndex(0);
    QTRY_VERIFY(m_model->procMessage());
    m_tools->release(u"read-" % name);
    QCoro::waitFor(std::move(selection));
    QVERIFY(m_model->playerManager()->isPlaying());
    QCOMPARE(countOf(QStringLiteral("read mov/normal/") + name), 1);
}

void AppViewModelTest::recordingsNamedLikeWorkFilesSurvive()
{
    const QStringList reserved{QStringLiteral("temp.mp4"), QStringLiteral("playing.mp4"),
                               QStringLiteral("_temp2.mp4"), QStringLiteral("__temp.mp3")};
    addRecordings(m_card, QStringLiteral("normal"), reserved);
    m_tools->addRecording(m_card, QStringLiteral("normal"), at("100000"),
                          "2 1 damaged DAT00018vid:[1]1280.720.30");
    loadWholeCard();
    const QDir folder(processvalues::tempRoot() + QStringLiteral("mov/normal"));
    for (const QString &name : {at("100000"), reserved[0], reserved[1], reserved[2]}) {
        QCoro::waitFor(m_model->selectIndex(row(name)));
        QCOMPARE(m_model->alertMessage(), std::optional<QString>());
        for (const QString &file : reserved) {
            QFile copy(folder.filePath(file));
            QVERIFY(copy.open(QIODevice::ReadOnly));
            QCOMPARE(copy.readAll(), "2 1 " + file.toUtf8());
        }
    }
    QCOMPARE(folder.entryList(QDir::Files).size(), 6); // the recordings, and what plays
}

void AppViewModelTest::previewIsResetForAnotherNumberOfChannels()
{
    m_tools->addRecording(m_card, QStringLiteral("normal"), at("100000"), "2 1");
    m_tools->addRecording(m_card, QStringLiteral("normal"), at("110000"), "2 0");
    m_tools->addRecording(m_card, QStringLiteral("normal"), at("120000"), "5 1");
    loadWholeCard();
    QCoro::waitFor(m_model->selectIndex(2));
    QCOMPARE(m_model->previousChannels(), 2);
    m_model->setVideoChannel(1);
    QCoro::waitFor(m_model->selectIndex(1));
    QCOMPARE(m_model->videoChannel(), 1);
    QCoro::waitFor(m_model->selectIndex(0));
    QCOMPARE(m_model->videoChannel(), -1);
    QCOMPARE(m_model->videoPlayerObjects().size(), 5);
    QCOMPARE(QCoro::waitFor(m_model->getVideoCount(m_tools->path(QStringLiteral("missing")))), 0);
}

void AppViewModelTest::nextGoesDownPreviousAndTheEndGoUp()
{
    addRecordings(m_card, QStringLiteral("normal"), {at("100000"), at("110000"), at("120000")});
    QCoro::waitFor(m_model->selectNext());
    QCOMPARE(m_model->selectedIndex(), std::optional<int>());
    loadWholeCard();
    QCoro::waitFor(m_model->selectNext());
    QCOMPARE(m_model->selectedIndex(), std::optional<int>());
    QCoro::waitFor(m_model->selectIndex(1));
    QCoro::waitFor(m_model->selectNext());
    QCOMPARE(m_model->selectedIndex(), std::optional(2));
    QCoro::waitFor(m_model->selectNext());
    QCOMPARE(m_model->selectedIndex(), std::optional(2));
    QCoro::waitFor(m_model->selectPrevious());
    QCOMPARE(m_model->selectedIndex(), std::optional(1));

    m_opened.clear();
    static_cast<ScriptedTrackPlayer *>(m_model->videoPlayers().at(0).get())->end();
    QTRY_COMPARE(m_model->selectedIndex(), std::optional(0));
    QTRY_COMPARE(m_opened, QStringList({at("120000"), QStringLiteral("playing.mp4")}));
    QTRY_VERIFY(m_model->playerManager()->isPlaying());
    static_cast<ScriptedTrackPlayer *>(m_model->videoPlayers().at(0).get())->end();
    QTest::qWait(0);
    QVERIFY(!m_model->playerManager()->isPlaying());
    QCOMPARE(m_opened.size(), 2);

    // After another card's shorter list the index may lie beyond the end.
    QCoro::waitFor(m_model->selectIndex(2));
    m_model->clearRows();
    QCoro::waitFor(m_model->selectNext());
    QCoro::waitFor(m_model->selectPrevious());
    QCOMPARE(m_model->selectedIndex(), std::optional(2));
}

void AppViewModelTest::telemetryArrivesBesideThePictures()
{
    addRecordingWithTelemetry(at("100000"), 10);
    addRecordings(m_card, QStringLiteral("normal"), {at("110000")});
    attach(m_card);
    QTRY_COMPARE(names().size(), 2);
    m_model->tapRow(row(at("100000")));
    QTRY_COMPARE(m_model->mediaData()->gpsEvents().size(), 2);
    QCOMPARE(m_model->mediaData()->gpsEvents().last().elapse, std::optional(60.0)); // the movie's length
    QCOMPARE(m_model->mediaData()->speedKmh(30), 18);

    // The next one has none: nothing of the first stays.
    QTRY_VERIFY(readSize(m_model->filtered(), at("110000")) > 0); // the first selection's last step
    const QSignalSpy loads(m_model->mediaData(), &MediaDataViewModel::eventsChanged);
    m_model->tapRow(row(at("110000")));
    QTRY_VERIFY(loads.size() >= 2); // the reset, and what was scanned
    QVERIFY(m_model->mediaData()->gpsEvents().isEmpty());
    QCOMPARE(m_model->mediaData()->speedKmh(30), 0);
}

void AppViewModelTest::telemetryOfAnEarlierSelectionIsDropped()
{
    addRecordingWithTelemetry(at("100000"), 10);
    addRecordingWithTelemetry(at("110000"), 20);
    loadWholeCard();

    // Nothing is scanned until both have been selected.
    QThreadPool &pool = *QThreadPool::globalInstance();
    const int usualThreads = pool.maxThreadCount();
    pool.setMaxThreadCount(1);
    QSemaphore hold;
    pool.start([&hold] { hold.acquire(); });
    QList<int> speeds;
    connect(m_model->mediaData(), &MediaDataViewModel::eventsChanged, this,
            [&] { speeds.append(m_model->mediaData()->speedKmh(30)); });
    for (const qsizetype count : {1, 2}) {
        m_model->tapRow(row(at(count == 1 ? "100000" : "110000")));
        QTRY_COMPARE(speeds.size(), count); // the reset
    }
    hold.release();
    QTRY_COMPARE(speeds, (QList<int>{0, 0, 37}));
    pool.setMaxThreadCount(usualThreads);
}

void AppViewModelTest::exportsNeedARecording()
{
    addRecordingWithTelemetry(at("100000"), 10);
    attach(m_card);
    QTRY_COMPARE(names().size(), 1);
    m_model->exportLocation();
    m_model->exportGSensor();
    QCOMPARE(m_model->alertMessage(), std::optional<QString>());
    m_model->tapRow(0);
    QTRY_COMPARE(m_model->mediaData()->gpsEvents().size(), 2);
    m_model->exportLocation();
    QCOMPARE(m_model->alertMessage(), QStringLiteral("GPS 데이터(location.txt)를 SD 카드에 저장했습니다."));
    m_model->exportGSensor(); // told so even though no volume is there to take it
    QCOMPARE(m_model->alertMessage(),
             QStringLiteral("G-Sensor 데이터(gsensor.txt)를 SD 카드에 저장했습니다."));
}

void AppViewModelTest::cancelTakesEffectAfterTheRunningTool()
{
    addRecordings(m_card, QStringLiteral("normal"), {at("100000"), at("110000")});
    m_tools->hold(u"read-" % at("110000"));
    attach(m_card);
    QTRY_COMPARE(countOf(QStringLiteral("read mov/normal/") + at("110000")), 1);
    m_model->cancelLoading();
    m_tools->release(u"read-" % at("110000"));
    const QString path = processvalues::tempRoot() + QStringLiteral("mov/normal/") + at("110000");
    QVERIFY(
        QTest::qWaitFor([&] { return countOf(QStringLiteral("end read mov/normal/") + at("110000")) == 1; }));
    QTest::qWait(50);
    QVERIFY(QFileInfo(path).size() > 0); // the tool went on to its end
    QCOMPARE(readSize(m_model->fileList(), at("110000")), 0);
    QCOMPARE(m_tools->calls().filter(at("100000")).size(), 0);

    m_model->startLoading();
    m_model->startLoading(); // takes the first one's place
    QTRY_VERIFY(readSize(m_model->filtered(), at("100000")) > 0);
    QCOMPARE(countOf(QStringLiteral("read mov/normal/") + at("100000")), 1);
}

void AppViewModelTest::extractionWaitsForAlertsAndRoom()
{
    addRecordings(m_card, QStringLiteral("normal"), {at("100000"), at("110000")});
    m_tools->hold(u"read-" % at("110000"));
    attach(m_card);
    QTRY_COMPARE(countOf(QStringLiteral("read mov/normal/") + at("110000")), 1);
    m_model->beginModalAlert();
    m_tools->space = noRoom;
    LogCapture log;
    const auto isPaused = [&log] {
        return log.lines().contains(QStringLiteral("[AppViewModel] loading paused: no room on the disk"));
    };
    m_tools->release(u"read-" % at("110000"));
    QTRY_VERIFY(readSize(m_model->fileList(), at("110000")) > 0);
    QVERIFY(!isPaused()); // the alert comes first
    m_model->endModalAlert();
    QTRY_VERIFY(isPaused());
    QCOMPARE(m_tools->calls().filter(at("100000")).size(), 0);
    QCOMPARE(m_model->alertMessage(), std::optional<QString>());
    m_tools->space = room;
    QTRY_VERIFY(readSize(m_model->fileList(), at("100000")) > 0);
}

QTEST_GUILESS_MAIN(AppViewModelTest)
#include "tst_appviewmodel.moc"
