#include "media/mediadataviewmodel.h"
#include "media/nmea.h"
#include "media/resampling.h"

#include <QSignalSpy>
#include <QTest>
#include <QTimeZone>

namespace {

template <typename Sample> QList<double> elapses(const QList<Sample> &samples)
{
    QList<double> result;
    for (const Sample &sample : samples)
        result.append(sample.elapse.value_or(-999));
    return result;
}

QList<double> secondsOf(const QList<resampling::Placed> &placed)
{
    QList<double> result;
    for (const resampling::Placed &sample : placed)
        result.append(sample.seconds);
    return result;
}

QString positionRecord(const QString &time, const QString &status = QStringLiteral("A"))
{
    return QStringLiteral(
               R"({"type":"gps_info","nmea":"$GPRMC,%1,%2,3733.00,N,12658.50,E,10.0,90.0,090324,,,A*00"})")
        .arg(time, status);
}

QString accelerationRecord(int second)
{
    return QStringLiteral(
               R"({"type":"gsensor_info","timestamp":"2024-03-09 17:05:%1","accel":{"x":%2,"y":-1,"z":64}})")
        .arg(second, 2, 10, QLatin1Char('0'))
        .arg(second);
}

} // namespace

class TelemetryTest : public QObject
{
    Q_OBJECT
    double m_now = 100;
    MediaDataViewModel m_model{{[this] { return m_now; }, [] { return 0.000001; }}, nullptr};

private Q_SLOTS:
    void initTestCase() { qputenv("TZ", "Asia/Seoul"); }
    void init() { m_model.reset(); }

    void decodesSentences_data()
    {
        QTest::addColumn<QString>("nmea");
        QTest::addColumn<QString>("record"); // latitude longitude speed course date; empty: none
        QTest::addColumn<QString>("timestamp"); // in UTC; empty: none
        const auto row = [](const char *name, const char *nmea, const char *record, const char *timestamp) {
            QTest::newRow(name) << QString::fromLatin1(nmea) << QString::fromLatin1(record)
                                << QString::fromLatin1(timestamp);
        };
        row("complete", "$GPRMC,123519,A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W*6A",
            "48.117300 11.516667 41.4848 84.4 230394", "2094-03-23 12:35:19");
        row("south and west, a fraction of a second",
            "$GPRMC,123519.000,A,4807.038,S,01131.000,W,0,0,230324,x",
            "-48.117300 -11.516667 0.0000 0.0 230324", "2024-03-23 12:35:19");
        row("no fix keeps its time", "$GPRMC,123519,V,4807.038,N,01131.000,E,022.4,084.4,230324", "",
            "2024-03-23 12:35:19");
        row("an empty course moves the date", "$GPRMC,123519,A,4807.038,N,01131.000,E,0.0,,231019,,,A*6F",
            "48.117300 11.516667 0.0000 231019.0 A*6F", "");
        row("nine fields", "$GPRMC,123519,A,4807.038,N,01131.000,E,022.4,084.4", "", "");
        row("another sentence", "$GNRMC,123519,A,4807.038,N,01131.000,E,022.4,084.4,230324", "", "");
        row("components roll over", "$GPRMC,235960,V,1,N,1,E,0,0,311224", "", "2025-01-01 00:00:00");
        row("day 0 of month 13", "$GPRMC,000000,V,1,N,1,E,0,0,001324", "", "2024-12-31 00:00:00");
        row("pairs that are no numbers", "$GPRMC,12a5b9,V,1,N,1,E,0,0,010124", "", "2024-01-01 12:00:00");
        row("no numbers", "$GPRMC,1,A, 1,N,inf,E,1x,nan,date", "0.000000 0.000000 0.0000 0.0 date", "");
    }
    void decodesSentences()
    {
        QFETCH(const QString, nmea);
        QFETCH(const QString, record);
        QFETCH(const QString, timestamp);
        const auto data = parseGPRMC(nmea);
        QCOMPARE(data ? QString::asprintf("%.6f %.6f %.4f %.1f ", data->latitude, data->longitude,
                                          data->speedKmh, data->course)
                         + data->date
                      : QString(),
                 record);
        QCOMPARE(gprmcTimestamp(nmea, false).value_or(QString()), timestamp);
    }
    void localTimeIsTheComputers()
    {
        QCOMPARE(
            gprmcTimestamp(QStringLiteral("$GPRMC,153000,A,1,N,1,E,0,0,010124"), true).value_or(QString()),
            QStringLiteral("2024-01-02 00:30:00"));
    }

    void putsPositionsOnWholeSeconds_data()
    {
        QTest::addColumn<resampling::Times>("times");
        QTest::addColumn<double>("duration");
        QTest::addColumn<QList<double>>("seconds");
        const auto row = [](const char *name, const resampling::Times &times, double duration,
                            const QList<double> &seconds) {
            QTest::newRow(name) << times << duration << seconds;
        };
        row("stretched", {0, 1, 2}, 4, {0, 2, 4});
        row("squeezed, halves away from zero", {0, 1, 2, 3}, 1, {0, 1});
        row("beyond the truncated duration", {0, 1, 2, 3, 4}, 3.7, {0, 1, 2, 3});
        row("one fix", {7}, 3.7, {0, 1, 2, 3});
        row("a sample without time in between", {5, std::nullopt, 7}, 2, {0, -5, 2});
        row("the last one without time", {1, 2, std::nullopt}, 1, {0, 1});
        row("no length", {0, 1}, std::nan(""), {0});
    }
    void putsPositionsOnWholeSeconds()
    {
        QFETCH(const resampling::Times, times);
        QFETCH(const double, duration);
        QFETCH(const QList<double>, seconds);
        QCOMPARE(secondsOf(resampling::atWholeSeconds(times, duration)), seconds);
    }

    void putsAccelerationsOnTenths()
    {
        resampling::Times minute;
        for (int second = 0; second < 60; ++second)
            minute.append(second);
        const auto whole = resampling::atTenths(minute, 60).value();
        QCOMPARE(whole.size(), 601);
        QCOMPARE(whole.last(), (resampling::Placed{59, 60.0}));
        QCOMPARE(whole[3].seconds, 3 * 0.1);
        QCOMPARE(resampling::atTenths(minute, 59.9)->last().seconds,
                 599 * 0.1 <= 59.9 ? 599 * 0.1 : 598 * 0.1);
        QVERIFY(!resampling::atTenths({5, 5}, 60));
        QVERIFY(resampling::atTenths({0, 1}, 1e300)->size() <= 864'001);
    }

    void looksUpTheLastSampleNotLater()
    {
        QList<GPSInfo> samples(4);
        for (qsizetype i = 0; i < samples.size(); ++i)
            samples[i].elapse = QList<double>{0, 2, 2, 5}[i];
        QVERIFY(!resampling::sampleAt(samples, -0.1));
        QCOMPARE(resampling::sampleAt(samples, 2), &samples[2]);
        QCOMPARE(resampling::sampleAt(samples, 4.9), &samples[2]);
        QCOMPARE(resampling::sampleAt(samples, 99), &samples[3]);
        QVERIFY(!resampling::sampleAt(samples, std::nan("")));
    }

    void loadsAndExports()
    {
        const double before = m_model.id();
        const QString json = u'[' + positionRecord(QStringLiteral("080559")) + u','
            + positionRecord(QStringLiteral("080714")) + u',' + accelerationRecord(1) + u','
            + accelerationRecord(2) + u']';
        QCOMPARE(m_model.load(json, 75), QString());
        QVERIFY(m_model.id() > before);
        QCOMPARE(m_model.gpsEvents().first().timestamp, QStringLiteral("2024-03-09 17:05:59"));
        QCOMPARE(m_model.locationText(),
                 QStringLiteral("[00:00] lat: 37.550000,  lng: 126.975000,  speed:  18 km\n"
                                "[00:75] lat: 37.550000,  lng: 126.975000,  speed:  18 km\n"));
        QVERIFY(m_model.gSensorText().startsWith(u"[00:00.000]  x:   1,  y:  -1,  z:  64\n[00:00.100]  x: "));
        QCOMPARE(m_model.gSensorEvents().size(), 751);
    }

    void exportsAnyNumberOfSeconds()
    {
        // The second sentence has no course, so its date is none, and it counts as of the year 2000.
        const QString json = u'[' + positionRecord(QStringLiteral("080559"))
            + QStringLiteral(R"(,{"type":"gps_info","nmea":"$GPRMC,080600,A,1,N,1,E,0,,090324,,,A*00"},)")
            + positionRecord(QStringLiteral("080600")) + u']';
        QCOMPARE(m_model.load(json, 3600), QString());
        QVERIFY2(m_model.locationText().contains(u"[00:-2747948972400] lat:  0.016667"),
                 qPrintable(m_model.locationText()));
    }

    void aStandingCarGetsATrackOfItsOwnPoints()
    {
        QCOMPARE(m_model.load(u'[' + positionRecord(QStringLiteral("080559")) + u']', 2.5), QString());
        QCOMPARE(m_model.gpsEvents().size(), 3);
        QVERIFY(m_model.gpsEvents().last().data->latitude > 37.55);
    }

    void withoutPositionsNothingIsResampled()
    {
        const double before = m_model.id();
        QCOMPARE(m_model.load(u'[' + accelerationRecord(1) + u',' + accelerationRecord(3) + u']', 60),
                 QString());
        QCOMPARE(elapses(m_model.gSensorEvents()), (QList<double>{0, 2}));
        QCOMPARE(m_model.id(), before);
    }

    void withoutTimeInTheFirstSentenceNoneIsDecoded()
    {
        const QString cold = QStringLiteral(R"({"type":"gps_info","nmea":"$GPRMC,,V,,,,,,,,,,N*53"})");
        QCOMPARE(m_model.load(u'[' + cold + u',' + positionRecord(QStringLiteral("080600")) + u']', 1),
                 QString());
        QCOMPARE(m_model.gpsEvents().size(), 2);
        QVERIFY(!m_model.gpsEvents().last().data);
        QCOMPARE(m_model.locationText(),
                 QStringLiteral("[00:00] lat:  0.000000,  lng:  0.000000,  speed:   0 km\n"
                                "[00:01] lat:  0.000000,  lng:  0.000000,  speed:   0 km\n"));
    }

    void aFailureChangesNothing()
    {
        QCOMPARE(m_model.load(u'[' + positionRecord(QStringLiteral("080559")) + u']', 1), QString());
        const QSignalSpy changes(&m_model, &MediaDataViewModel::eventsChanged);
        QVERIFY(!m_model.load(QStringLiteral(R"([{"error":"Cannot read file"}])"), 1).isEmpty());
        QVERIFY(!m_model.load(QString(QChar(0xd800)), 1).isEmpty());
        QCOMPARE(m_model.gpsEvents().size(), 2);
        QCOMPARE(changes.size(), 0);
    }

    void resetKeepsTheDecodedRecordsAndRenewsTheStamp()
    {
        QCOMPARE(m_model.load(u'[' + positionRecord(QStringLiteral("080559")) + u']', 1), QString());
        const double loaded = m_model.id();
        m_model.reset();
        QVERIFY(m_model.id() > loaded);
        QVERIFY(m_model.gpsEvents().isEmpty());
        QCOMPARE(m_model.events().positions.size(), 1);
    }
};

QTEST_GUILESS_MAIN(TelemetryTest)
#include "tst_telemetry.moc"
