// Milliseconds from the click on an extracted recording to its first pictures:
// click_bench CARD_IMAGE RECORDING ROUNDS, where RECORDING takes the place of the card's newest one.
#include "app/state/appviewmodel.h"
#include "card/sdmanager.h"
#include "common/preferences.h"
#include "common/processvalues.h"
#include "common/task.h"
#include "desktop/imagedesktop.h"
#include "engine/moviefile.h"

#include <algorithm>
#include <QCoreApplication>
#include <QCoroTask>
#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>

namespace {

void processUntil(const std::function<bool()> &isDone)
{
    while (!isDone())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
}

bool everyChannelHasAPicture(const AppViewModel &viewModel, const TrackPlayerList &former)
{
    const TrackPlayerList &players = viewModel.videoPlayers();
    return !players.isEmpty() && players != former
        && std::all_of(players.cbegin(), players.cend(),
                       [](const TrackPlayerPtr &player) { return player->latestFrame() != nullptr; });
}

qint64 click(AppViewModel &viewModel)
{
    const TrackPlayerList former = viewModel.videoPlayers();
    QElapsedTimer timer;
    timer.start();
    viewModel.tapRow(0);
    processUntil([&] { return everyChannelHasAPicture(viewModel, former); });
    return timer.elapsed();
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 4)
        return 2;
    const QTemporaryDir home;
    qputenv("XDG_DATA_HOME", home.filePath(QStringLiteral("data")).toUtf8());
    qputenv("XDG_CACHE_HOME", home.filePath(QStringLiteral("cache")).toUtf8());
    const QCoreApplication application(argc, argv);
    const auto desktop = makeImageDesktop(QString::fromLocal8Bit(argv[1]), std::nullopt);
    Preferences preferences(home.filePath(QStringLiteral("preferences")));
    AppViewModel viewModel(
        *desktop, [](QString path) { return openMovie(std::move(path)); }, preferences);
    SDManager sdManager(*desktop->diskWatcher);
    if (!QCoro::waitFor(viewModel.procManager().setup()))
        return 1;
    sdManager.startMonitoring();
    processUntil([&] { return sdManager.detectedDisk().has_value(); });
    viewModel.loadFileList();
    processUntil([&] {
        const FileList &list = viewModel.fileList();
        return !list.isEmpty()
            && std::all_of(list.cbegin(), list.cend(), [](const FileListItem &item) { return item.read > 0; })
            && !viewModel.filtered().isEmpty();
    });

    const QString extracted = processvalues::tempRoot() + viewModel.filtered().first().cardPath();
    QFile::remove(extracted);
    if (!QFile::link(QDir::current().absoluteFilePath(QString::fromLocal8Bit(argv[2])), extracted))
        return 1;
    for (int round = 0; round < atoi(argv[3]); ++round) {
        std::printf("{\"milliseconds\": %lld}\n", static_cast<long long>(click(viewModel)));
        std::fflush(stdout);
        // The selection goes on with the row above and the background task before the next click is taken.
        QCoro::waitFor(sleepFor(std::chrono::seconds(1)));
        viewModel.playerManager()->stop();
    }
    return 0;
}
