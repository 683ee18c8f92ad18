// Times of the telemetry's stages, as one JSON object on standard output.
//   telemetry_bench scan FILE     finding and reading all blocks of a recording
//   telemetry_bench hour          an hour of telemetry: resampling, publishing, one look-up of each kind
#include "media/embeddeddata.h"
#include "media/mediadataviewmodel.h"

#include <cstdio>
#include <ctime>
#include <QElapsedTimer>
#include <QFile>

namespace {

constexpr int hourSeconds = 3600;
constexpr int samplesPerSecond = 10;

struct Times {
    double wallSeconds = 0;
    double processorSeconds = 0;
};

template <typename Work> Times timed(Work work)
{
    QElapsedTimer timer;
    timer.start();
    const std::clock_t start = std::clock();
    work();
    return {double(timer.nsecsElapsed()) / 1e9, double(std::clock() - start) / CLOCKS_PER_SEC};
}

/// Not from getrusage(), whose peak is that of the program which started this one.
double peakMegabytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray text = status.readAll();
    return text.mid(text.indexOf("VmHWM:") + 6, 12).trimmed().split(' ').first().toDouble() / 1024;
}

void scan(const QString &path)
{
    const double before = peakMegabytes();
    MediaRecords found;
    const Times times = timed([&] { found = parseMediaData(path).records; });
    const qsizetype records = found.videoInfos.size() + found.positions.size() + found.accelerations.size();
    (void)resampling::resampled(std::move(found), resampling::longestDuration, [] { return 0.0; });
    std::printf(R"({"wall": %f, "cpu": %f, "records": %lld, "own_megabytes": %f})"
                "\n",
                times.wallSeconds, times.processorSeconds, static_cast<long long>(records),
                peakMegabytes() - before);
}

/// Positions once a second, accelerometer samples ten a second.
MediaRecords hourOfRecords()
{
    MediaRecords records;
    for (int second = 0; second < hourSeconds; ++second) {
        const QString sentence =
            QString::asprintf("$GPRMC,%02d%02d%02d.00,A,3730.%04d,N,12704.3293,E,24.17,76.09,090324,,,A*53",
                              8 + second / 3600, second / 60 % 60, second % 60, second);
        records.append(*parseBlock(BlockKind::GPS, sentence.toLatin1()));
    }
    for (int sample = 0; sample < hourSeconds * samplesPerSecond; ++sample) {
        const int second = sample / samplesPerSecond;
        const char bytes[15] = {0,
                                char(128 + sample % 40),
                                char(120),
                                char(140),
                                0,
                                0,
                                0,
                                24,
                                3,
                                9,
                                char(17 + second / 3600),
                                char(second / 60 % 60),
                                char(second % 60),
                                0,
                                0};
        records.append(*parseBlock(BlockKind::SHO, QByteArrayView(bytes, sizeof bytes)));
    }
    return records;
}

void hour()
{
    const MediaRecords records = hourOfRecords();
    const Times resampling =
        timed([&] { (void)resampling::resampled(records, hourSeconds, [] { return 0.0; }); });
    MediaDataViewModel data;
    const Times loading = timed([&] { data.load(records, hourSeconds); });
    constexpr int lookUps = 1'000'000;
    qint64 sum = 0;
    const Times looking = timed([&] {
        for (int i = 0; i < lookUps; ++i) {
            const double seconds = double(i % 36000) / 10;
            sum += data.gSensorSample(seconds)->accel.x + data.speedKmh(seconds);
        }
    });
    std::printf(R"({"resample": %f, "publish": %f, "look_up": %g, "sum": %lld})"
                "\n",
                resampling.processorSeconds, loading.processorSeconds - resampling.processorSeconds,
                looking.processorSeconds / lookUps, static_cast<long long>(sum));
}

} // namespace

int main(int argc, char **argv)
{
    if (argc == 3 && QByteArray(argv[1]) == "scan")
        scan(QString::fromLocal8Bit(argv[2]));
    else if (argc == 2 && QByteArray(argv[1]) == "hour")
        hour();
    else
        return 2;
    return 0;
}
