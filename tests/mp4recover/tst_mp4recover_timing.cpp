#include "sound/silence.h"
#include "time/timing.h"

#include <cmath>
#include <QTest>

namespace {

constexpr std::uint64_t bytesPerSecond = 100'000;

/// A channel with a key picture each second, and a number of 4 bits in each picture.
struct Drive {
    double rate = 30;
    double seconds = 10;
    int requested = 30;
    double inSets = 0;
    double firstLost = 0; ///< seconds; nothing is lost before 0
    double lastLost = 0;
    std::uint32_t missingTold = 0;
    int readingsPerSecond = 10; ///< of the clock
    bool areReadingsLostToo = true;
    double chunkSeconds = 0; ///< pictures are written in such pieces; 0: each at its time
    double firstReading = 0.37; ///< how far the clock's first second has gone already
};

std::uint64_t offsetAt(double time)
{
    return static_cast<std::uint64_t>(std::llround(time * bytesPerSecond));
}

bool isLost(const Drive &drive, double time) { return time >= drive.firstLost && time < drive.lastLost; }

Findings make(const Drive &drive)
{
    Findings made;
    made.channels.resize(1);
    Channel &channel = made.channels.front();
    channel.numberBits = 4;
    bool wasLost = false;
    const int group = int(drive.rate);
    for (int frame = 0; frame < drive.seconds * drive.rate - 1e-6; ++frame) {
        const double time = frame / drive.rate;
        if (isLost(drive, time)) {
            wasLost = true;
            continue;
        }
        Picture picture;
        picture.firstUnit = static_cast<std::uint32_t>(made.units.size());
        picture.unitCount = 1;
        picture.isSync = frame % group == 0;
        picture.restartsNumbers = picture.isSync;
        picture.number = static_cast<std::uint32_t>(frame % group % 16);
        picture.followsLoss = wasLost;
        picture.picturesMissingBefore = wasLost ? drive.missingTold : 0;
        wasLost = false;
        const double chunk = std::floor(time / std::max(drive.chunkSeconds, 1e-3) + 1e-6) + 1;
        const double written = drive.chunkSeconds <= 0
            ? time
            : chunk * drive.chunkSeconds + (time - (chunk - 1) * drive.chunkSeconds) * 0.01;
        const auto size = static_cast<std::uint32_t>(0.8 * bytesPerSecond / drive.rate);
        made.units.push_back({offsetAt(written) + 1, size, 1});
        channel.pictures.push_back(picture);
    }
    for (int i = 0; i < drive.seconds * drive.readingsPerSecond; ++i) {
        const double time = double(i) / drive.readingsPerSecond;
        if (!drive.areReadingsLostToo || !isLost(drive, time))
            made.clock.push_back({offsetAt(time),
                                  1'000'000'000 + static_cast<std::int64_t>(time + drive.firstReading + 1e-6),
                                  drive.readingsPerSecond == 1});
    }
    const std::uint64_t lost = offsetAt(drive.lastLost) - offsetAt(drive.firstLost);
    if (lost > 0)
        made.losses.push_back({offsetAt(drive.firstLost) + 1, lost - 1});
    return made;
}

VideoTimes timesOf(const Drive &drive)
{
    return timePictures(make(drive), {{{drive.inSets, drive.requested}, {}}}).front();
}

} // namespace

Q_DECLARE_METATYPE(Drive)

class TestTiming : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void picturesKeepTheTimeOfTheClock_data()
    {
        QTest::addColumn<Drive>("drive");
        QTest::newRow("as told") << Drive{};
        QTest::newRow("27.5 told as 27") << Drive{.rate = 27.5, .requested = 27};
        QTest::newRow("27.5 told as 27, said to be 30") << Drive{.rate = 27.5, .requested = 27, .inSets = 30};
        QTest::newRow("15 told as 30") << Drive{.rate = 15};
        QTest::newRow("29.97 for an hour")
            << Drive{.rate = 30000.0 / 1001, .seconds = 3600, .requested = 30, .inSets = 30};
        QTest::newRow("no usual rate") << Drive{.rate = 26.8, .seconds = 60, .requested = 27};
        QTest::newRow("in pieces of half a second") << Drive{.chunkSeconds = 0.5};
        QTest::newRow("two seconds of a clock that is read 5 times in each")
            << Drive{.rate = 15, .seconds = 1.9, .requested = 15, .readingsPerSecond = 5};
        QTest::newRow("positions only") << Drive{.rate = 27.5, .requested = 27, .readingsPerSecond = 1};
        QTest::newRow("gap") << Drive{.firstLost = 3, .lastLost = 3.2};
        QTest::newRow("longer than frame numbers tell") << Drive{.firstLost = 3, .lastLost = 5};
        QTest::newRow("gap of positions only")
            << Drive{.firstLost = 3.1, .lastLost = 4.7, .readingsPerSecond = 1};
        QTest::newRow("readings are there")
            << Drive{.firstLost = 3, .lastLost = 4, .areReadingsLostToo = false};
        QTest::newRow("gap of which nonsense is told")
            << Drive{.firstLost = 3, .lastLost = 3.1, .missingTold = 40000};
    }
    void picturesKeepTheTimeOfTheClock()
    {
        QFETCH(const Drive, drive);
        const VideoTimes times = timesOf(drive);
        const double frame = 1 / drive.rate;
        const double end = double(times.end()) / times.timescale;
        QVERIFY2(std::abs(end - drive.seconds) < 1.5 * frame, qPrintable(QString::number(end)));
        for (std::size_t i = 1; i < times.decode.size(); ++i)
            QVERIFY(times.decode[i] > times.decode[i - 1]);
    }

    void aRateWithoutClock_data()
    {
        QTest::addColumn<double>("inSets");
        QTest::addColumn<int>("requested");
        QTest::addColumn<double>("rate");
        QTest::newRow("sets and arguments agree but for rounding") << 27.5 << 27 << 27.5;
        QTest::newRow("sets contradict the arguments") << 60.0 << 30 << 30.0;
        QTest::newRow("sets alone") << 25.0 << 0 << 25.0;
        QTest::newRow("nothing known") << 0.0 << 0 << 30.0;
        QTest::newRow("nonsense") << 1e9 << 1'000'000 << 30.0;
    }
    void aRateWithoutClock()
    {
        QFETCH(const double, inSets);
        QFETCH(const int, requested);
        QFETCH(const double, rate);
        const VideoTimes times = timesOf({.requested = requested, .inSets = inSets, .readingsPerSecond = 0});
        QCOMPARE(double(times.timescale) / double(times.lastDuration), rate);
    }

    void reorderedPicturesAreShownInTheirPlace()
    {
        const std::vector<std::uint32_t> order{0, 3, 1, 2, 5, 4};
        const VideoTimes times = timePictures(make({.seconds = 0.2}), {{{0, 30}, order}}).front();
        std::vector<std::int64_t> shown;
        for (std::size_t i = 0; i < order.size(); ++i) {
            QVERIFY(times.shownLater[i] >= 0);
            const std::int64_t at = times.decode[i] + times.shownLater[i] - times.firstShown;
            QCOMPARE(at, std::int64_t{order[i]} * times.lastDuration);
        }
    }

    void silenceStandsForWhatIsLost_data()
    {
        QTest::addColumn<double>("pieceSeconds");
        QTest::addColumn<double>("begin"); // seconds of sound that are lost
        QTest::addColumn<double>("end"); // before `begin`: garbage was taken for so much sound
        QTest::addColumn<bool>("isTold");
        QTest::newRow("nothing lost") << 0.02 << 0.0 << 0.0 << false;
        QTest::newRow("nothing lost, long pieces") << 0.5 << 0.0 << 0.0 << false;
        QTest::newRow("a second") << 0.02 << 4.0 << 5.0 << true;
        QTest::newRow("a tenth") << 0.02 << 4.0 << 4.1 << true;
        QTest::newRow("a second, unnoticed") << 0.02 << 4.0 << 5.0 << false;
        QTest::newRow("a long piece") << 0.5 << 4.0 << 4.5 << true;
        QTest::newRow("half a second of garbage") << 0.02 << 4.0 << 3.5 << true;
        QTest::newRow("the beginning") << 0.02 << 0.0 << 2.0 << false;
    }
    void silenceStandsForWhatIsLost()
    {
        QFETCH(const double, pieceSeconds);
        QFETCH(const double, begin);
        QFETCH(const double, end);
        QFETCH(const bool, isTold);
        constexpr int rate = 16000;
        const ClockLine clock({{0, 0}, {offsetAt(10), 10}});
        SilenceJudge judge(clock, rate);
        double silent = 0;
        bool wasLost = false;
        bool isGarbageDue = end < begin;
        for (double time = 0; time < 10 - pieceSeconds / 2; time += pieceSeconds) {
            if (isGarbageDue && time >= begin) {
                isGarbageDue = false;
                silent += double(judge.close()) / rate;
                judge.add({{static_cast<std::uint64_t>(time * bytesPerSecond), 10},
                           std::llround((begin - end) * rate),
                           true},
                          true);
            }
            if (time >= begin - 1e-6 && time < end - 1e-6) {
                wasLost = true;
                continue;
            }
            const bool isAfterLoss = wasLost && isTold;
            wasLost = false;
            if (isAfterLoss || judge.isReady())
                silent += double(judge.close()) / rate;
            const auto endOffset = static_cast<std::uint64_t>((time + pieceSeconds) * bytesPerSecond);
            judge.add({{endOffset - 10, 10}, std::llround(pieceSeconds * rate), false}, isAfterLoss);
        }
        silent += double(judge.close()) / rate;
        QVERIFY2(std::abs(silent - (end - begin)) < 0.05, qPrintable(QString::number(silent)));
    }
};

QTEST_APPLESS_MAIN(TestTiming)
#include "tst_mp4recover_timing.moc"
