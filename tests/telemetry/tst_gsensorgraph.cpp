#include "telemetry/graphline.h"
#include "telemetry/gsensorgraph.h"

#include <QTest>

namespace {

/// A minute of accelerometer samples, one a second, x counting the seconds.
QString minuteOfSamples()
{
    QStringList records{QStringLiteral(R"({"type":"gps_info","nmea":"$GPRMC,080500,A,1,N,1,E,0,0,090324"})"),
                        QStringLiteral(R"({"type":"gps_info","nmea":"$GPRMC,080600,A,1,N,1,E,0,0,090324"})")};
    for (int second = 0; second < 60; ++second)
        records.append(
            QStringLiteral(
                R"({"type":"gsensor_info","timestamp":"2024-03-09 17:05:%1","accel":{"x":%2,"y":2,"z":3}})")
                .arg(second, 2, 10, QLatin1Char('0'))
                .arg(second));
    return u'[' + records.join(u',') + u']';
}

QList<double> times(GGraphBuffer *buffer)
{
    QList<double> result;
    for (const GSample &sample : buffer->samples())
        result.append(sample.time);
    return result;
}

} // namespace

class GSensorGraphTest : public QObject
{
    Q_OBJECT
    MediaDataViewModel m_data;

private Q_SLOTS:
    void initTestCase() { QCOMPARE(m_data.load(minuteOfSamples(), 60), QString()); }

    void followsThePlayer_data()
    {
        QTest::addColumn<QList<double>>("reports");
        QTest::addColumn<QList<double>>("grid");
        const auto row = [](const char *name, const QList<double> &reports, const QList<double> &grid) {
            QTest::newRow(name) << reports << grid;
        };
        row("from the left edge, one a step", {0.1, 0.13, 0.2}, {0, 0.1, 0.2});
        row("ahead of the time", {0.04, 0.06}, {0, 0, 0.1});
        row("a jump forward isn't filled in", {0.1, 5.0}, {0, 0.1, 5.0});
        row("back truncates", {0.1, 0.2, 0.3, 0.12}, {0, 0.1, 0.1});
        row("back within the step truncates only", {0.1, 0.2, 0.24, 0.19}, {0, 0.1});
        row("exactly 0 changes nothing, what follows goes back", {0.1, 12.3, 0, 0.2}, {0, 0.1, 0.2});
    }
    void followsThePlayer()
    {
        QFETCH(const QList<double>, reports);
        QFETCH(const QList<double>, grid);
        GSensorGraph graph;
        graph.setMediaData(&m_data);
        for (const double seconds : reports)
            graph.setCurrentTime(seconds);
        QCOMPARE(times(graph.bufferX()), grid);
        QCOMPARE(times(graph.bufferZ()), grid);
    }

    void scrubbingEndsWithARebuild()
    {
        GSensorGraph graph;
        graph.setMediaData(&m_data);
        graph.setIsScrubbing(true);
        graph.setCurrentTime(2.05);
        QCOMPARE(graph.bufferX()->samples().size(), 2);
        graph.setIsScrubbing(false);
        graph.setCurrentTime(3.05); // the seek comes after it
        QTRY_COMPARE(graph.bufferX()->samples().size(), 31);
        QCOMPARE(graph.bufferX()->samples().last().time, 30 * 0.1);
        QCOMPARE(graph.lastAppendTime(), 3.05);
    }

    void anotherRecordingClears()
    {
        GSensorGraph graph;
        graph.setMediaData(&m_data);
        graph.setCurrentTime(1);
        QCOMPARE(m_data.load(minuteOfSamples(), 60), QString());
        QVERIFY(graph.bufferX()->samples().isEmpty());
        QCOMPARE(graph.lastAppendTime(), 0.0);
    }

    void linesStandOnAFixedScale_data()
    {
        QTest::addColumn<QList<GSample>>("samples");
        QTest::addColumn<double>("duration");
        QTest::addColumn<QList<QPointF>>("line"); // in an area of 100 x 50
        const auto row = [](const char *name, const QList<GSample> &samples, double duration,
                            const QList<QPointF> &line) {
            QTest::newRow(name) << samples << duration << line;
        };
        row("y grows downwards, edges cut off", {{0, 0}, {5, 400}, {10, -400}}, 10,
            {{0, 25}, {50, 0}, {100, 50}});
        row("beyond the end", {{0, 50}, {20, -50}}, 10, {{0, 0}, {100, 50}});
        row("one sample", {{0, 0}}, 10, {});
        row("no duration", {{0, 0}, {1, 0}}, 0, {});
        row("a short peak within a pixel column stays",
            {{0, 0}, {0.01, 0}, {0.02, 50}, {0.03, -50}, {0.04, 0}, {0.05, 0}, {10, 0}}, 10,
            {{0, 25}, {0.2, 0}, {0.3, 50}, {0.5, 25}, {100, 25}});
    }
    void linesStandOnAFixedScale()
    {
        QFETCH(const QList<GSample>, samples);
        QFETCH(const double, duration);
        QFETCH(const QList<QPointF>, line);
        QCOMPARE(graphLine(samples, duration, {100, 50}), line);
    }

    void withoutRecordsNothingIsAppended()
    {
        MediaDataViewModel empty;
        GSensorGraph graph;
        graph.setMediaData(&empty);
        graph.setCurrentTime(1);
        graph.rebuildGraph();
        QVERIFY(graph.bufferY()->samples().isEmpty());
    }
};

QTEST_GUILESS_MAIN(GSensorGraphTest)
#include "tst_gsensorgraph.moc"
