// Milliseconds from the click on an extracted recording to its first picture, and to one of each channel, and
// the longest time for which the main thread took no event meanwhile: click_bench CARD_IMAGE RECORDING, where
// RECORDING takes the place of the card's newest one. Each line on standard input is a click.
#include "app/session/appviewmodel.h"
#include "card/processvalues.h"
#include "card/sdmanager.h"
#include "common/preferences.h"
#include "common/task.h"
#include "desktop/imagedesktop.h"
#include "engine/moviefile.h"

#include <algorithm>
#include <iostream>
#include <QCoreApplication>
#include <QCoroTask>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTemporaryDir>
#include <QTimer>

namespace {

void processUntil(const std::function<bool()> &isDone)
{
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (isDone())
            loop.quit();
    });
    poll.start(2);
    loop.exec();
}

struct Latency {
    qint64 firstMs = 0;
    qint64 allMs = 0;
    double longestPauseMs = 0;
};

/// Ticks on the event loop and keeps the longest delay of a tick.
class PauseMeter
{
public:
    PauseMeter()
    {
        m_ticks.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_ticks, &QTimer::timeout, &m_ticks, [this] {
            m_longestMs = std::max(m_longestMs, double(m_sinceTick.nsecsElapsed()) / 1e6 - intervalMs);
            m_sinceTick.start();
        });
        m_sinceTick.start();
        m_ticks.start(intervalMs);
    }
    [[nodiscard]] double longestMs() const { return m_longestMs; }

private:
    static constexpr int intervalMs = 2;
    QTimer m_ticks;
    QElapsedTimer m_sinceTick;
    double m_longestMs = 0;
};

Latency click(AppViewModel &viewModel)
{
    const TrackPlayerList former = viewModel.videoPlayers();
    const auto hasPicture = [](const TrackPlayerPtr &player) { return player->latestFrame() != nullptr; };
    const auto players = [&]() -> const TrackPlayerList & {
        return viewModel.playerManager()->videoPlayers();
    };
    const PauseMeter pauses;
    QElapsedTimer timer;
    timer.start();
    viewModel.tapRow(0);
    Latency latency;
    processUntil(
        [&] { return players() != former && std::any_of(players().cbegin(), players().cend(), hasPicture); });
    latency.firstMs = timer.elapsed();
    processUntil([&] {
        return players() == viewModel.videoPlayers()
            && std::all_of(players().cbegin(), players().cend(), hasPicture);
    });
    latency.allMs = timer.elapsed();
    latency.longestPauseMs = pauses.longestMs();
    return latency;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3)
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
    for (std::string line; std::getline(std::cin, line);) {
        const Latency latency = click(viewModel);
        // The selection goes on with the row above and the background task before the next click is taken.
        QCoro::waitFor(sleepFor(std::chrono::seconds(1)));
        viewModel.playerManager()->stop();
        QCoro::waitFor(sleepFor(std::chrono::milliseconds(300)));
        std::printf("{\"first\": %lld, \"all\": %lld, \"longestPause\": %.1f}\n",
                    static_cast<long long>(latency.firstMs), static_cast<long long>(latency.allMs),
                    latency.longestPauseMs);
        std::fflush(stdout);
    }
    return 0;
}
