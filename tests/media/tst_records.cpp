#include "media/filelistitem.h"
#include "media/mediadata.h"
#include "media/timestamp.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>
#include <QTimeZone>

namespace {

using KindColor = FileListItem::KindColor;

QByteArray arrayOf(const QByteArray &object) { return '[' + object + ']'; }

const QByteArray wholeGps = R"({"type":"gps_info","nmea":"$GPRMC,1","timestamp":"2024-03-09 17:05:59",
    "elapse":1.5,"data":{"timeUTC":"080559.00","date":"090324","latitude":-37.5,"longitude":127,
    "speedKmh":61.25,"course":0.1}})";

} // namespace

class RecordsTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void readsDateAndKindOutOfTheName_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("dateText");
        QTest::addColumn<QString>("kindLabel");
        QTest::addColumn<KindColor>("color");
        QTest::addColumn<QString>("startTime"); // empty: none
        const QString date = QStringLiteral("2024/03/09 17:05:59");
        const QString none = QStringLiteral("-");
        const auto row = [&](const char *name, const QString &dateText, const char *label, KindColor color) {
            QTest::newRow(name) << QString::fromUtf8(name) << dateText << QString::fromUtf8(label) << color
                                << (dateText == date ? QStringLiteral("2024-03-09T17:05:59") : QString());
        };
        row("E_20240309_170559_CH1.mov", date, "EVT", KindColor::Red);
        row("N_20240309_170559.mp4", date, "REC", KindColor::PrimaryText);
        row("P_20240309_170559_20250101_000000.mp4", date, "PAK", KindColor::Green);
        row("M_20240309_1705591.mp4", date, "MAN", KindColor::Yellow);
        row("e_20240309_170559.mp4", date, "", KindColor::PrimaryText);
        row("M_99999999_999999", QStringLiteral("9999/99/99 99:99:99"), "MAN", KindColor::Yellow);
        row("20240309_170559.mov", none, "", KindColor::PrimaryText);
        row("N_120240309_170559.mov", none, "REC", KindColor::PrimaryText);
        row("P_２０２４０３０９_170559.mp4", none, "PAK", KindColor::Green);
        row("", none, "", KindColor::PrimaryText);
    }
    void readsDateAndKindOutOfTheName()
    {
        QFETCH(const QString, name);
        FileListItem item;
        item.name = name;
        QTEST(item.dateText(), "dateText");
        QTEST(item.kindLabel(), "kindLabel");
        QTEST(item.kindColor(), "color");
        QTEST(item.startTime().value_or(QDateTime()).toString(Qt::ISODate), "startTime");
    }

    void decodesWholeRecords()
    {
        const DecodedMediaData decoded = decodeMediaData(
            R"([{"type":"video_info","channelCount":2,"channels":[{"width":1920,"height":1080,"fps":30},
                {"width":1280,"height":720,"fps":9007199254740993}]},)"
            + wholeGps + R"(,{"type":"gps_info","nmea":"","data":null,"later":[1]},
               {"type":"gsensor_info","timestamp":"t","accel":{"x":-1,"y":2,"z":1024}}])");
        QVERIFY2(decoded.records, qPrintable(decoded.error));
        const QList<MediaData> &records = *decoded.records;
        QCOMPARE(records.size(), 4);
        const VideoInfo video{2, {{1920, 1080, 30}, {1280, 720, 9007199254740993}}};
        QVERIFY(records[0].videoInfo == video);
        QVERIFY(!records[0].gpsInfo && !records[0].gSensorInfo);
        const GPRMC fix{QStringLiteral("080559.00"), QStringLiteral("090324"), -37.5, 127, 61.25, 0.1};
        const GPSInfo gps{QStringLiteral("$GPRMC,1"), fix, QStringLiteral("2024-03-09 17:05:59"), 1.5};
        QVERIFY(records[1].gpsInfo == gps);
        const GPSInfo bare{QString(), {}, {}, {}};
        QVERIFY(records[2].gpsInfo == bare);
        const GSensorInfo sensor{QStringLiteral("t"), {-1, 2, 1024}, {}};
        QVERIFY(records[3].gSensorInfo == sensor);
        QVERIFY(records[1].id != records[2].id);
    }

    void oneBadObjectFailsTheArray_data()
    {
        QTest::addColumn<QByteArray>("json");
        const auto object = [](const char *name, const QByteArray &json) {
            QTest::newRow(name) << arrayOf(json);
        };
        object("unknown type", R"({"type":"audio_info"})");
        object("no type", R"({"nmea":"x"})");
        object("type is a number", R"({"type":1})");
        object("no object", "1");
        object("sensor without timestamp", R"({"type":"gsensor_info","accel":{"x":1,"y":2,"z":3}})");
        object("required null", R"({"type":"gsensor_info","timestamp":null,"accel":{"x":1,"y":2,"z":3}})");
        object("fraction for an integer",
               R"({"type":"gsensor_info","timestamp":"","accel":{"x":1.5,"y":2,"z":3}})");
        object("text for an integer",
               R"({"type":"gsensor_info","timestamp":"","accel":{"x":"1","y":2,"z":3}})");
        object("true for an integer",
               R"({"type":"gsensor_info","timestamp":"","accel":{"x":true,"y":2,"z":3}})");
        object("beyond 64 bits",
               R"({"type":"gsensor_info","timestamp":"","accel":{"x":9223372036854775808,"y":2,"z":3}})");
        object("optional of another type", R"({"type":"gps_info","nmea":"","elapse":"1"})");
        object("nested without a key", R"({"type":"gps_info","nmea":"","data":{"timeUTC":"","date":""}})");
        object("channels not an array", R"({"type":"video_info","channelCount":1,"channels":{}})");
        object("channel not an object", R"({"type":"video_info","channelCount":1,"channels":[1]})");
        object("the second of two", wholeGps + R"(,{"type":"gps_info"})");
        object("not UTF-8", "{\"type\":\"gps_info\",\"nmea\":\"\xff\"}");
        QTest::newRow("no array") << wholeGps;
        QTest::newRow("cut off") << arrayOf(wholeGps).chopped(1);
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("too deep") << QByteArray(100'000, '[');
    }
    void oneBadObjectFailsTheArray()
    {
        QFETCH(const QByteArray, json);
        const DecodedMediaData decoded = decodeMediaData(json);
        QVERIFY(!decoded.records);
        QVERIFY(!decoded.error.isEmpty());
    }

    void encodesWhatItDecoded_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("gps") << wholeGps;
        QTest::newRow("gps, bare") << QByteArray(R"({"type":"gps_info","nmea":"$"})");
        QTest::newRow("video") << QByteArray(
            R"({"type":"video_info","channelCount":1,"channels":[{"width":1,"height":2,"fps":3}]})");
        QTest::newRow("sensor") << QByteArray(
            R"({"type":"gsensor_info","timestamp":"t","accel":{"x":-9223372036854775808,"y":0,"z":1},"elapse":0.1})");
    }
    void encodesWhatItDecoded()
    {
        QFETCH(const QByteArray, json);
        const DecodedMediaData decoded = decodeMediaData(arrayOf(json));
        QVERIFY2(decoded.records, qPrintable(decoded.error));
        const MediaData &record = decoded.records->first();
        const QJsonObject encoded = record.videoInfo ? encodeMediaData(*record.videoInfo)
            : record.gpsInfo                         ? encodeMediaData(*record.gpsInfo)
                                                     : encodeMediaData(*record.gSensorInfo);
        QCOMPARE(encoded, QJsonDocument::fromJson(json).object());
    }

    void parsesOnlyMomentsThatExist_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("utc"); // empty: refused
        const auto row = [](const char *text, const char *utc) {
            QTest::newRow(text) << QString::fromUtf8(text) << QString::fromUtf8(utc);
        };
        row("2024-03-09 17:05:59", "2024-03-09T16:05:59Z");
        row("2024-02-29 00:00:00", "2024-02-28T23:00:00Z");
        row("2023-02-29 00:00:00", "");
        row("2024-01-01 24:00:00", "");
        row("2024-01-01 00:00:60", "");
        row("2024-03-31 02:30:00", ""); // the clocks skip it
        row("2024-10-27 02:30:00", "2024-10-27T01:30:00Z"); // it comes twice
        row("2024-3-9 17:05:59", "");
        row(" 2024-03-09 17:05:59", "");
        row("2024-03-09 17:05:59 ", "");
        row("2024-03-09T17:05:59", "");
        row("2024-03-09 17:05:-9", "");
        row("２０２４-03-09 17:05:59", "");
        row("", "");
    }
    void parsesOnlyMomentsThatExist()
    {
        QFETCH(const QString, text);
        QFETCH(const QString, utc);
        const auto instant = parseTimestamp(text);
        QCOMPARE(instant ? instant->toUTC().toString(Qt::ISODate) : QString(), utc);
    }
};

int main(int argc, char **argv)
{
    qputenv("TZ", "Europe/Berlin");
    const QCoreApplication app(argc, argv);
    RecordsTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_records.moc"
