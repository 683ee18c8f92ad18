#include "framestrip.h"
#include "samplefiles.h"

#include <cmath>
#include <numbers>
#include <QDateTime>
#include <QFile>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr int fps = 25;
constexpr int seconds = 3;
constexpr QSize picture(320, 180);
constexpr int soundRate = 44100;

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// All frames of a channel, as a decoder that isn't ours sees them.
QList<QImage> framesOf(const QString &path, int channel, QSize size)
{
    const QByteArray raw =
        runTool(u"ffmpeg"_s,
                {u"-v"_s, u"error"_s, u"-i"_s, path, u"-map"_s, u"0:v:%1"_s.arg(channel - 1), u"-pix_fmt"_s,
                 u"rgb24"_s, u"-f"_s, u"rawvideo"_s, u"-"_s})
            .output;
    QList<QImage> frames;
    const qsizetype bytes = qsizetype{3} * size.width() * size.height();
    for (qsizetype at = 0; at + bytes <= raw.size(); at += bytes)
        frames.append(QImage(reinterpret_cast<const uchar *>(raw.constData() + at), size.width(),
                             size.height(), qsizetype{3} * size.width(), QImage::Format_RGB888)
                          .copy());
    return frames;
}

} // namespace

class SampleRecordingTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase()
    {
        m_recording = m_folder.filePath(u"recording.mp4"_s);
        const ToolResult made = runTool(u"samplecard"_s,
                                        {u"--recording"_s, m_recording, u"--channels"_s, u"2"_s,
                                         u"--seconds"_s, QString::number(seconds), u"--fps"_s,
                                         QString::number(fps), u"--picture"_s, u"320x180"_s});
        QVERIFY2(made.exitCode == 0, made.messages.constData());
    }

    void everyDecodedFrameTellsItsChannelAndNumber()
    {
        for (const int channel : {1, 2}) {
            const QList<QImage> frames = framesOf(m_recording, channel, picture);
            QCOMPARE(frames.size(), seconds * fps);
            for (int i = 0; i < frames.size(); ++i) {
                const std::optional<FrameStrip> strip = readFrameStrip(frames[i]);
                QVERIFY2(strip, qPrintable(u"channel %1, frame %2"_s.arg(channel).arg(i)));
                QCOMPARE(strip->channel, channel);
                QCOMPARE(strip->frameNumber, i);
                QCOMPARE(readFlash(frames[i]), std::optional(i % fps < fps / 10.0));
            }
        }
    }

    void copyingKeepsEverySampleWithoutAComplaint()
    {
        const QString copy = m_folder.filePath(u"copy.mp4"_s);
        const ToolResult copied = runTool(
            u"ffmpeg"_s,
            {u"-v"_s, u"warning"_s, u"-i"_s, m_recording, u"-map"_s, u"0"_s, u"-c"_s, u"copy"_s, copy});
        QCOMPARE(copied.messages, QByteArray());
        const auto checksums = [](const QString &path) {
            return runTool(u"ffmpeg"_s,
                           {u"-v"_s, u"warning"_s, u"-xerror"_s, u"-i"_s, path, u"-map"_s, u"0"_s, u"-f"_s,
                            u"framemd5"_s, u"-"_s});
        };
        const ToolResult original = checksums(m_recording);
        QCOMPARE(original.messages, QByteArray());
        QVERIFY(original.output.count('\n') > qsizetype{2} * seconds * fps);
        QCOMPARE(checksums(copy).output, original.output);
    }

    void clicksStandAtWholeSecondsAndNowhereElse()
    {
        const QByteArray raw = runTool(u"ffmpeg"_s,
                                       {u"-v"_s, u"error"_s, u"-i"_s, m_recording, u"-map"_s, u"0:a"_s,
                                        u"-ac"_s, u"1"_s, u"-f"_s, u"s16le"_s, u"-"_s})
                                   .output;
        const auto *samples = reinterpret_cast<const qint16 *>(raw.constData());
        QSet<qsizetype> secondsWithClick;
        for (qsizetype i = 0; i < raw.size() / 2; ++i) {
            if (std::abs(samples[i]) < 9000)
                continue;
            const double second = std::round(double(i) / soundRate);
            QVERIFY2(std::abs(double(i) / soundRate - second) < 0.02, qPrintable(QString::number(i)));
            secondsWithClick.insert(qsizetype(second));
        }
        QCOMPARE(secondsWithClick, (QSet<qsizetype>{0, 1, 2}));
    }

    void blocksTellChannelsPlaceAndMotionByTheClock()
    {
        const QByteArray bytes = contents(m_recording);
        QCOMPARE(blocksOf(bytes, "DAT"), QList<QByteArray>{"vid:[2]320.180.25:320.180.25"});

        const QDateTime start(QDate(2024, 3, 9), QTime(8, 5, 59), Qt::UTC); // 17:05:59 in Korea
        const QList<QByteArray> places = blocksOf(bytes, "GPS");
        QCOMPARE(places.size(), seconds);
        for (int i = 0; i < places.size(); ++i)
            QCOMPARE(readSentence(places[i]).time, start.addSecs(i).toString(u"ddMMyyHHmmss"_s).toLatin1());

        const QList<QByteArray> motions = blocksOf(bytes, "SHO");
        QCOMPARE(motions.size(), 10 * seconds);
        for (int i = 0; i < motions.size(); ++i) {
            QCOMPARE(motions[i].size(), 15);
            const QDateTime clock = start.addSecs(9 * 3600 + i / 10);
            const char expected[]{24, 3, 9, 17, char(clock.time().minute()), char(clock.time().second())};
            QCOMPARE(motions[i].mid(7, 6), QByteArray(expected, 6));
        }
    }

    void speedCourseAndAccelerationFitTheWayDriven()
    {
        const QString path = m_folder.filePath(u"minute.mp4"_s);
        const ToolResult made =
            runTool(u"samplecard"_s,
                    {u"--recording"_s, path, u"--channels"_s, u"1"_s, u"--seconds"_s, u"45"_s, u"--fps"_s,
                     u"10"_s, u"--picture"_s, u"160x90"_s, u"--seed"_s, u"1"_s, u"--no-sound"_s});
        QCOMPARE(made.exitCode, 0);
        const QByteArray bytes = contents(path);
        const QList<QByteArray> places = blocksOf(bytes, "GPS");
        const QList<QByteArray> motions = blocksOf(bytes, "SHO");
        QCOMPARE(places.size(), 45);
        double fastest = 0;
        double slowest = 1e9;
        for (int i = 1; i < places.size(); ++i) {
            const Fix a = readSentence(places[i - 1]);
            const Fix b = readSentence(places[i]);
            QVERIFY(b.latitude > 37.4 && b.latitude < 37.7 && b.longitude > 126.8
                    && b.longitude < 127.2); // Seoul
            const double north = (b.latitude - a.latitude) * 111320;
            const double east =
                (b.longitude - a.longitude) * 111320 * std::cos(b.latitude * std::numbers::pi / 180);
            const double mean = (a.speedMps + b.speedMps) / 2;
            QVERIFY(std::abs(std::hypot(north, east) - mean) < 1.0);
            if (mean > 3) {
                const double course = std::atan2(east, north) * 180 / std::numbers::pi;
                QVERIFY(std::abs(std::remainder(course - b.course, 360)) < 8);
            }
            double felt = 0; // forwards, m/s²
            for (int j = (i - 1) * 10 + 1; j <= i * 10; ++j)
                felt += (uchar(motions[j][2]) - 128) / 64.0 * 9.81 / 10;
            QVERIFY(std::abs(felt - (b.speedMps - a.speedMps)) < 0.5);
            fastest = std::max(fastest, b.speedMps);
            slowest = std::min(slowest, b.speedMps);
        }
        QVERIFY(fastest > 8);
        QVERIFY(slowest < 0.1); // it stopped at a signal
    }

private:
    QTemporaryDir m_folder;
    QString m_recording;
};

QTEST_GUILESS_MAIN(SampleRecordingTest)
#include "tst_samplerecording.moc"
