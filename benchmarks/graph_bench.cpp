// What the accelerometer's graph costs while an hour of samples stands in it, as one JSON object on standard
// output: processor milliseconds of drawing its window with a sample appended to each of the three lines, and
// of drawing it without. Needs a display.
#include "media/embeddeddata.h"
#include "media/mediadataviewmodel.h"

#include <cstdio>
#include <ctime>
#include <QEventLoop>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>

namespace {

constexpr int hourSeconds = 3600;
constexpr int ticks = 200;

MediaRecords hourOfSamples()
{
    MediaRecords records;
    for (const char *time : {"080000", "090000"}) {
        const QByteArray sentence = QByteArray("$GPRMC,") + time + ",A,3730.0,N,12704.0,E,24.17,76.09,090324";
        records.append(*parseBlock(BlockKind::GPS, sentence));
    }
    for (int second = 0; second < hourSeconds; ++second) {
        QByteArray bytes(15, '\0');
        bytes[1] = static_cast<char>(128 + second * 7 % 40);
        bytes[2] = static_cast<char>(128 - second * 11 % 30);
        bytes[3] = static_cast<char>(138 + second * 13 % 20);
        const char clock[] = {24, 3, 9, 17, static_cast<char>(second / 60), static_cast<char>(second % 60)};
        bytes.replace(7, sizeof clock, QByteArrayView(clock, sizeof clock).toByteArray());
        records.append(*parseBlock(BlockKind::SHO, bytes));
    }
    return records;
}

void drawOnce(QQuickView &view)
{
    QEventLoop loop;
    QObject::connect(&view, &QQuickWindow::frameSwapped, &loop, &QEventLoop::quit, Qt::QueuedConnection);
    view.setColor(view.color() == Qt::black ? Qt::darkGray : Qt::black); // all of it
    loop.exec();
}

template <typename Step> double millisecondsOf(Step step)
{
    const std::clock_t start = std::clock();
    step();
    return double(std::clock() - start) / CLOCKS_PER_SEC * 1000;
}

} // namespace

int main(int argc, char **argv)
{
    const QGuiApplication application(argc, argv);
    MediaDataViewModel data;
    data.load(hourOfSamples(), hourSeconds);
    QQuickView view;
    view.engine()->addImportPath(QStringLiteral("qrc:/qt/qml"));
    view.setResizeMode(QQuickView::SizeRootObjectToView);
    view.setColor(Qt::black);
    constexpr double begin = hourSeconds - 60;
    view.setInitialProperties({{QStringLiteral("mediaData"), QVariant::fromValue(&data)},
                               {QStringLiteral("currentTime"), begin},
                               {QStringLiteral("duration"), double(hourSeconds)},
                               {QStringLiteral("isScrubbing"), false}});
    view.setSource(QUrl(QStringLiteral("qrc:/qt/qml/Vornex/Telemetry/GSensorBar.qml")));
    view.resize(800, 160);
    view.show();
    for (int i = 0; i < 10; ++i)
        drawOnce(view);
    double bare = 0;
    double tick = 0;
    for (int i = 1; i <= ticks; ++i) { // in turn, as other work on the machine slows both alike
        bare += millisecondsOf([&] { drawOnce(view); }) / ticks;
        tick += millisecondsOf([&] {
                    view.rootObject()->setProperty("currentTime", begin + i * 0.1);
                    drawOnce(view);
                })
            / ticks;
    }
    std::printf(R"({"tick_ms": %.3f, "bare_frame_ms": %.3f})"
                "\n",
                tick, bare);
    return 0;
}
