#include "app/state/appstate.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QStringBuilder>
#include <QTest>

namespace {

FileListItem item(const char *name, const char *type = "normal", quint64 size = 1'500'000)
{
    FileListItem result;
    result.name = QString::fromUtf8(name);
    result.type = QString::fromUtf8(type);
    result.size = size;
    return result;
}

QStringList names(const FileList &items)
{
    QStringList result;
    for (const FileListItem &entry : items)
        result.append(entry.name);
    return result;
}

FileList manyRecordings(int count)
{
    static const char *const kinds[] = {"normal", "event", "park"};
    FileList items;
    const QDateTime start(QDate(2024, 3, 9), QTime(0, 0), Qt::UTC);
    for (int i = 0; i < count; ++i) {
        const QString date = start.addSecs(60 * ((i * 7919) % count)).toString(u"yyyyMMdd_HHmmss");
        items.append(item(qPrintable(QString(u"N_" % date % u".mp4")), kinds[i % 3]));
    }
    return items;
}

} // namespace

class FileListTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void sortsNewestFirstAndKeepsEqualDatesInOrder()
    {
        const SortedList sorted = sortedNewestFirst({
            item("N_20240101_000000_a.mp4"),
            item("undated.mp4"),
            item("E_20240309_170559.mp4"),
            item("N_20240101_000000_b.mp4"),
            item("P_20231231_235959.mp4"),
            item("N_20240101_000000_c.mp4"),
            item("_another.mp4"),
        });
        const QStringList expected{
            QStringLiteral("E_20240309_170559.mp4"),
            QStringLiteral("N_20240101_000000_a.mp4"),
            QStringLiteral("N_20240101_000000_b.mp4"),
            QStringLiteral("N_20240101_000000_c.mp4"),
            QStringLiteral("P_20231231_235959.mp4"),
            QStringLiteral("undated.mp4"),
            QStringLiteral("_another.mp4"),
        };
        QCOMPARE(names(sorted.items), expected);
        QCOMPARE(sorted.dateTexts.first(), QStringLiteral("2024/03/09 17:05:59"));
        QCOMPARE(sorted.dateTexts.last(), QStringLiteral("-"));
    }

    void filtersByFolderAloneWhateverTheNameSays()
    {
        const FileList items{item("E_1.mp4", "normal"), item("N_2.mp4", "event"), item("N_3.mp4", "Event"),
                             item("N_4.mp4", "normal")};
        QCOMPARE(names(entriesOfType(items, QStringLiteral("normal"))),
                 QStringList({QStringLiteral("E_1.mp4"), QStringLiteral("N_4.mp4")}));
        QCOMPARE(names(entriesOfType(items, QStringLiteral("event"))),
                 QStringList(QStringLiteral("N_2.mp4")));
        QCOMPARE(entriesOfType(items, QStringLiteral("all")).size(), 4);
        QCOMPARE(entriesOfType(items, QStringLiteral("park")).size(), 0);
    }

    void showsRowsAsTexts()
    {
        FileListModel model;
        const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        FileList items{item("E_20240309_170559.mp4"), item("P_20240309_170558.mov", "park", 0),
                       item("movie.mov.mp4", "park", 4'999)};
        items[0].read = 1;
        model.replace(sortedNewestFirst(items));
        const auto text = [&](int row, FileListModel::Role role) {
            return model.index(row).data(role).toString();
        };
        QCOMPARE(text(0, FileListModel::KindLabel), QStringLiteral("EVT"));
        QCOMPARE(text(0, FileListModel::DateText), QStringLiteral("2024/03/09 17:05:59"));
        QCOMPARE(text(0, FileListModel::SizeText), QStringLiteral("1.50 MB"));
        QCOMPARE(text(1, FileListModel::SizeText), QString());
        QCOMPARE(text(2, FileListModel::SizeText), QStringLiteral("0.00 MB"));
        QVERIFY(model.index(0).data(FileListModel::IsRead).toBool());
        QVERIFY(!model.index(1).data(FileListModel::IsRead).toBool());
        QVERIFY(model.index(1).data(FileListModel::IsUnfinished).toBool());
        QVERIFY(!model.index(2).data(FileListModel::IsUnfinished).toBool());
    }

    void publishesEachChangeOnce()
    {
        FileListModel model;
        const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
        QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
        const auto published = [&](int first, int last, FileListModel::Role role) {
            if (changes.size() != 1)
                return false;
            const QVariantList change = changes.takeFirst();
            return change[0].toModelIndex().row() == first && change[1].toModelIndex().row() == last
                && change[2].value<QList<int>>() == QList<int>{role};
        };

        model.setAllChecked(true);
        model.replace(sortedNewestFirst(manyRecordings(100)));
        QCOMPARE(resets.size(), 1);
        QCOMPARE(changes.size(), 0);
        model.setAllChecked(true);
        QVERIFY(published(0, 99, FileListModel::IsChecked));
        model.setChecked(7, false);
        QVERIFY(published(7, 7, FileListModel::IsChecked));
        model.setSelectedRow(3);
        QVERIFY(published(3, 3, FileListModel::IsSelected));
        model.setSelectedRow(9);
        QVERIFY(published(3, 9, FileListModel::IsSelected));
        model.setRead(5, 10);
        QVERIFY(published(5, 5, FileListModel::IsRead));
        model.setSelectedRow(9);
        model.setChecked(7, false);
        model.setChecked(100, true);
        model.setRead(-1, 1);
        QCOMPARE(changes.size(), 0);
        QCOMPARE(resets.size(), 1);
        const auto isSelected = [](const FileListItem &entry) { return entry.isSelected; };
        QCOMPARE(std::count_if(model.items().cbegin(), model.items().cend(), isSelected), 1);
    }

    void ofSeveralRequestsForRowsTheLastCounts()
    {
        AppState state;
        const FileListItem first = item("N_1.mp4");
        const FileListItem second = item("N_2.mp4");
        state.setFileList({first, second});
        const quint64 early = state.requestRows();
        const quint64 late = state.requestRows();
        state.storeRead(first.id, 7); // after both copied the list
        state.setRows(late, sortedNewestFirst({first}));
        state.setRows(early, sortedNewestFirst({first, second}));
        QCOMPARE(names(state.filtered()), QStringList(QStringLiteral("N_1.mp4")));
        QCOMPARE(state.filtered().first().read, 7);

        state.storeRead(second.id, 9); // has no row
        state.forgetRead(first.cardPath());
        QCOMPARE(state.filtered().first().read, 0);
        QCOMPARE(state.fileList().first().read, 0);
        QCOMPARE(state.fileList().last().read, 9);
        state.clearRows();
        QVERIFY(state.isListed(first.id));
        QVERIFY(!state.isListed(QUuid::createUuid()));
    }

    void alertsAreUpUntilTheLastOneEnds()
    {
        AppState state;
        QSignalSpy changes(&state, &AppState::isAlertingChanged);
        state.beginModalAlert();
        state.beginModalAlert();
        state.endModalAlert();
        QVERIFY(state.isAlerting());
        QCOMPARE(changes.size(), 1);
        state.endModalAlert();
        state.endModalAlert();
        QVERIFY(!state.isAlerting());
        state.beginModalAlert();
        QVERIFY(state.isAlerting());
        QCOMPARE(changes.size(), 3);
    }
};

QTEST_GUILESS_MAIN(FileListTest)
#include "tst_filelist.moc"
