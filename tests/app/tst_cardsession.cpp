#include "sessionfixture.h"
#include "support/logcapture.h"

#include <QSignalSpy>

/// A card's list and what is extracted of it ahead of the user.
class CardSessionTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { f = std::make_unique<SessionFixture>(); }
    void cleanup() { f.reset(); }

    void listsAndExtractsNewestFirst();
    void tabsShowCopies();
    void cardGoneDuringTheReadingStaysGone();
    void secondCardWinsOverTheFirst();
    void cancelTakesEffectAfterTheRunningTool();
    void endOfACancelledRunLeavesItsSuccessorAlone();
    void extractionWaitsForAlertsAndRoom();

private:
    static QString at(const char *time) { return SessionFixture::at(time); }
    std::unique_ptr<SessionFixture> f;
};

void CardSessionTest::listsAndExtractsNewestFirst()
{
    f->add(QStringLiteral("normal"), {at("100000"), QStringLiteral("undated.mp4"), at("120000")});
    f->add(QStringLiteral("event"), {at("110000")});
    QSignalSpy lists(f->model.get(), &AppState::fileListChanged);
    QSignalSpy resets(f->model->rows(), &QAbstractItemModel::modelReset);
    f->attach();
    QCOMPARE(f->tools().calls().size(), 0); // nothing happens within the call
    QTRY_VERIFY(f->readSize(f->model->filtered(), QStringLiteral("undated.mp4")) > 0);

    const QStringList expectedReads{
        QStringLiteral("read mov/normal/") + at("120000"), QStringLiteral("read mov/event/") + at("110000"),
        QStringLiteral("read mov/normal/") + at("100000"), QStringLiteral("read mov/normal/undated.mp4")};
    QCOMPARE(f->tools().calls().filter(QRegularExpression(QStringLiteral("^read mov"))), expectedReads);
    QCOMPARE(f->names(), QStringList({at("120000"), at("100000"), QStringLiteral("undated.mp4")}));
    QCOMPARE(f->model->fileCount(), 4);
    QCOMPARE(resets.size(), 1);
    QCOMPARE(lists.size(), 1 + 4); // the list, and one size each
    QCOMPARE(f->readSize(f->model->fileList(), at("110000")), 4 + at("110000").size());
}

void CardSessionTest::tabsShowCopies()
{
    f->add(QStringLiteral("normal"), {at("100000"), at("120000")});
    f->add(QStringLiteral("saved"), {at("110000")});
    QVERIFY(f->showAllExtracted());
    AppViewModel &model = *f->model;
    QSignalSpy resets(model.rows(), &QAbstractItemModel::modelReset);

    model.setAllChecked(true);
    model.setChecked(1, false);
    QVERIFY(model.isAllChecked());
    QCOMPARE(model.checkedItems().size(), 1);
    model.chooseTab(0); // is chosen already
    QTest::qWait(0);
    QCOMPARE(model.checkedItems().size(), 1);
    QCOMPARE(resets.size(), 0);

    model.setUploaded(true);
    model.chooseTab(5);
    QVERIFY(!model.uploaded());
    QTRY_COMPARE(f->names(), QStringList({at("120000"), at("110000"), at("100000")}));
    QCOMPARE(resets.size(), 1);
    QCOMPARE(model.checkedItems().size(), 0);
    QVERIFY(model.isAllChecked());
    model.chooseTab(4);
    QTRY_COMPARE(f->names(), QStringList(at("110000")));
    model.chooseTab(2);
    QTRY_COMPARE(f->names(), QStringList());

    model.loadFileList();
    QCOMPARE(model.selectedTab(), 0);
    QVERIFY(!model.isAllChecked());
}

void CardSessionTest::cardGoneDuringTheReadingStaysGone()
{
    f->add(QStringLiteral("normal"), {at("100000")});
    f->hold(QStringLiteral("ls-saved"));
    f->attach();
    QTRY_COMPARE(f->countOf(QStringLiteral("ls mov/saved")), 1);
    QSignalSpy readings(&f->model->procManager(), &ProcessManager::readingEnded);
    f->detach();
    QVERIFY(readings.count() > 0 || readings.wait()); // the tool doesn't hold up the next card
    QTest::qWait(0);
    f->release(QStringLiteral("ls-saved"));
    QCOMPARE(f->model->fileCount(), 0);
    QCOMPARE(f->names(), QStringList());
    QCOMPARE(f->tools().calls().filter(QStringLiteral("read mov/normal")).size(), 0);
    QVERIFY(f->model->uploaded());
    QTRY_VERIFY(!f->model->uploaded());
    f->model->setUploaded(true); // by somebody else, soon after another removal
    f->detach();
    f->model->setUploaded(true);
    QTest::qWait(1200);
    QVERIFY(f->model->uploaded());
}

void CardSessionTest::secondCardWinsOverTheFirst()
{
    f->add(QStringLiteral("normal"), {at("100000")});
    const QString second = f->addCard();
    f->add(second, QStringLiteral("normal"), {at("200000"), at("210000")});
    f->hold(QStringLiteral("ls-park"));
    f->attach();
    QTRY_COMPARE(f->countOf(QStringLiteral("ls mov/park")), 1);
    f->attach(second);
    f->release(QStringLiteral("ls-park"));
    QTRY_COMPARE(f->names(), QStringList({at("210000"), at("200000")}));
    QTRY_VERIFY(f->readSize(f->model->fileList(), at("200000")) > 0);
    QCOMPARE(f->tools().calls().filter(at("100000")).size(), 0);
}

void CardSessionTest::cancelTakesEffectAfterTheRunningTool()
{
    f->add(QStringLiteral("normal"), {at("100000"), at("110000")});
    f->hold(u"read-" % at("110000"));
    f->attach();
    QTRY_COMPARE(f->readsOf(at("110000")), 1);
    f->model->cancelLoading();
    f->release(u"read-" % at("110000"));
    const QString path = QStringLiteral("mov/normal/") + at("110000");
    QTRY_VERIFY(f->model->procManager().fileSize(path, true) > 0); // the tool went on to its end
    QTest::qWait(50);
    QCOMPARE(f->readSize(f->model->fileList(), at("110000")), 0);
    QCOMPARE(f->readsOf(at("100000")), 0);

    f->model->startLoading();
    f->model->startLoading(); // takes the first one's place
    QTRY_VERIFY(f->readSize(f->model->filtered(), at("100000")) > 0);
    QCOMPARE(f->readsOf(at("100000")), 1);
    QCOMPARE(f->readsOf(at("110000")), 1); // lies there whole
}

void CardSessionTest::endOfACancelledRunLeavesItsSuccessorAlone()
{
    f->add(at("110000"), "unreadable-card"); // stays unread
    f->add(QStringLiteral("normal"), {at("100000")});
    f->hold(u"read-" % at("100000"));
    f->attach();
    QTRY_COMPARE(f->readsOf(at("100000")), 1); // the last one of the run
    f->hold(u"read-" % at("110000"));
    f->model->startLoading();
    QTRY_COMPARE(f->readsOf(at("110000")), 2);
    LogCapture log;
    f->release(u"read-" % at("100000"));
    QTRY_COMPARE(f->countOf(QStringLiteral("end read mov/normal/") + at("100000")), 1);
    QTest::qWait(50);
    QVERIFY(f->model->isLoading());
    f->model->cancelLoading();
    QCOMPARE(log.lines().filter(QStringLiteral("loading")),
             QStringList(QStringLiteral("[AppViewModel] loading canceled")));
    f->release(u"read-" % at("110000"));
}

void CardSessionTest::extractionWaitsForAlertsAndRoom()
{
    f->add(QStringLiteral("normal"), {at("100000"), at("110000")});
    f->hold(u"read-" % at("110000"));
    f->attach();
    QTRY_COMPARE(f->readsOf(at("110000")), 1);
    f->model->beginModalAlert();
    f->tools().space = SessionFixture::noRoom;
    LogCapture log;
    const auto isPaused = [&log] {
        return log.lines().contains(QStringLiteral("[AppViewModel] loading paused: no room on the disk"));
    };
    f->release(u"read-" % at("110000"));
    QTRY_VERIFY(f->readSize(f->model->fileList(), at("110000")) > 0);
    QVERIFY(!isPaused()); // the alert comes first
    f->model->endModalAlert();
    QTRY_VERIFY(isPaused());
    QCOMPARE(f->readsOf(at("100000")), 0);
    QCOMPARE(f->model->alertMessage(), std::optional<QString>());
    f->tools().space = SessionFixture::room;
    QTRY_VERIFY(f->readSize(f->model->fileList(), at("100000")) > 0);
}

QTEST_GUILESS_MAIN(CardSessionTest)
#include "tst_cardsession.moc"
