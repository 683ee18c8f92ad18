// Plays or seeks in a recording by the engine and tells what it cost.
//   playback_bench play FILE SECONDS     processor seconds, the latest frame against its siblings; nothing
//   drawn playback_bench draw FILE SECONDS     the same with a window that shows all channels playback_bench
//   seek FILE VIDEO_COUNT COUNT    milliseconds of each of COUNT exact seeks
// One line of JSON on standard output.

#include "engine/moviefile.h"
#include "engine/quick/videosurface.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <QCoroTask>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QGuiApplication>
#include <QQuickWindow>
#include <QRandomGenerator>
#include <QTimer>
#include <sys/resource.h>

namespace {

double processorSeconds()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

TrackPlayerList openVideos(const QString &path, int atMost)
{
    const OpenedMovie opened = QCoro::waitFor(openMovie(path));
    if (!opened.movie)
        qFatal("%s", qPrintable(opened.error.text));
    TrackPlayerList players;
    for (const TrackInfo &track : opened.movie->tracks())
        if (track.kind == TrackKind::Video && players.size() < atMost)
            players.append(QCoro::waitFor(opened.movie->makePlayer(track)).player);
    return players;
}

void waitUntil(const std::function<bool()> &isDone)
{
    while (!isDone())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

bool allShow(const TrackPlayerList &players, quint64 serial)
{
    return std::all_of(players.begin(), players.end(), [serial](const TrackPlayerPtr &player) {
        const VideoFramePtr frame = player->latestFrame();
        return frame && frame->serial == serial;
    });
}

/// Two columns of 640 by 360.
void showIn(QQuickWindow &window, const TrackPlayerList &players)
{
    constexpr QSize cell(640, 360);
    window.resize(cell.width() * 2, cell.height() * 3);
    for (int i = 0; i < players.size(); i++) {
        auto *surface = new VideoSurface(window.contentItem());
        surface->setPosition(QPointF(i % 2 * cell.width(), i / 2 * cell.height()));
        surface->setSize(cell);
        surface->setPlayer(players[i].get());
    }
    window.show();
    waitUntil([&] { return window.isExposed(); });
}

/// How far the channel that is furthest behind is behind the one that is furthest ahead, at each new frame
/// of any of them, in seconds.
void play(const QString &path, double seconds, QQuickWindow *window = nullptr)
{
    const TrackPlayerList players = openVideos(path, 5);
    waitUntil([&] { return allShow(players, 0); });
    if (window)
        showIn(*window, players);
    double largestLag = 0;
    qint64 frames = 0;
    for (const TrackPlayerPtr &player : players)
        QObject::connect(player.get(), &TrackPlayer::frameChanged, player.get(), [&] { frames++; });
    // Looked at in each turn of the event loop, as a window does that draws all channels.
    QTimer look;
    look.setTimerType(Qt::PreciseTimer);
    QObject::connect(&look, &QTimer::timeout, &look, [&] {
        double first = 1e9;
        double last = 0;
        for (const TrackPlayerPtr &player : players) {
            first = std::min(first, player->latestFrame()->seconds);
            last = std::max(last, player->latestFrame()->seconds);
        }
        largestLag = std::max(largestLag, last - first);
    });
    const double before = processorSeconds();
    QElapsedTimer wall;
    wall.start();
    for (const TrackPlayerPtr &player : players)
        player->play();
    look.start(16);
    QEventLoop loop;
    QTimer::singleShot(static_cast<int>(seconds * 1000), Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
    std::printf(
        "{\"processorSeconds\": %.3f, \"seconds\": %.3f, \"frames\": %lld, \"largestLagSeconds\": %.4f}\n",
        processorSeconds() - before, static_cast<double>(wall.elapsed()) / 1000,
        static_cast<long long>(frames), largestLag);
}

void seek(const QString &path, int videoCount, int count)
{
    const TrackPlayerList players = openVideos(path, videoCount);
    waitUntil([&] { return allShow(players, 0); });
    QRandomGenerator random(7);
    std::printf("{\"milliseconds\": [");
    const double before = processorSeconds();
    for (int i = 1; i <= count; i++) {
        const double target = random.bounded(players.first()->durationSeconds() * 0.95);
        QElapsedTimer wall;
        wall.start();
        for (const TrackPlayerPtr &player : players)
            player->seek(target, SeekTolerance::Exact);
        waitUntil([&] { return allShow(players, static_cast<quint64>(i)); });
        std::printf("%s%.2f", i == 1 ? "" : ", ", static_cast<double>(wall.nsecsElapsed()) / 1e6);
    }
    std::printf("], \"processorSeconds\": %.3f}\n", processorSeconds() - before);
}

} // namespace

int main(int argc, char **argv)
{
    const bool isDrawing = argc > 1 && qstrcmp(argv[1], "draw") == 0;
    const std::unique_ptr<QCoreApplication> application(isDrawing ? new QGuiApplication(argc, argv)
                                                                  : new QCoreApplication(argc, argv));
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == QStringLiteral("play") && arguments.size() == 4) {
        play(arguments[2], arguments[3].toDouble());
    } else if (isDrawing && arguments.size() == 4) {
        QQuickWindow window;
        play(arguments[2], arguments[3].toDouble(), &window);
    } else if (arguments.value(1) == QStringLiteral("seek") && arguments.size() == 5) {
        seek(arguments[2], arguments[3].toInt(), arguments[4].toInt());
    } else {
        return 2;
    }
    return 0;
}
