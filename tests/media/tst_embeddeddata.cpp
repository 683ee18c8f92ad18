#include "common/mappedfile.h"
#include "media/embeddeddata.h"
#include "support/logcapture.h"

#include <QJsonDocument>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QtConcurrentRun>
#include <QTemporaryDir>
#include <QTest>
#include <sys/mman.h>

namespace {

/// Where a payload stands in its file, in bytes.
struct BlockPlace {
    qsizetype offset = 0;
    qsizetype length = 0;
    bool operator==(const BlockPlace &) const = default;
};

/// The rule as three plain searches over the whole bytes.
QList<BlockPlace> plainSearch(const QByteArray &bytes, const QByteArray &tag)
{
    static const QRegularExpression number(QStringLiteral("^[+-]?[0-9]+$"),
                                           QRegularExpression::DontCaptureOption);
    QList<BlockPlace> places;
    qsizetype position = 0;
    while (true) {
        const qsizetype occurrence = bytes.indexOf(tag, position);
        if (occurrence < 0)
            return places;
        const qsizetype begin = occurrence + 8;
        if (begin > bytes.size())
            return places;
        const QString digits = QString::fromLatin1(bytes.mid(occurrence + 3, 5));
        const int length = number.match(digits).hasMatch() && !digits.endsWith(u'\n') ? digits.toInt() : -1;
        if (length < 0) {
            position = begin;
            continue;
        }
        if (begin + length > bytes.size())
            return places;
        places.append({begin, length});
        position = begin + length;
    }
}

/// Random bytes in which tags, near-tags and lengths of all sorts are frequent.
QByteArray randomBytes(QRandomGenerator &random, qsizetype size)
{
    static const QByteArrayList pieces{"DAT",   "GPS",   "SHO",   "DA",    "GP",    "SSHO",
                                       "00000", "00003", "+0012", "-0001", " 0001", "00 01",
                                       "00040", "99999", "DPT",   "SAS",   "\xff",  QByteArray(1, '\0')};
    QByteArray bytes;
    while (bytes.size() < size) {
        if (random.bounded(3) > 0)
            bytes += pieces[random.bounded(static_cast<int>(pieces.size()))];
        else
            bytes += QByteArray(random.bounded(40), static_cast<char>(random.bounded(256)));
    }
    return bytes.left(size);
}

QByteArray jsonOf(const std::optional<MediaData> &record)
{
    if (!record)
        return {};
    const QJsonObject object = record->videoInfo ? encodeMediaData(*record->videoInfo)
        : record->gpsInfo                        ? encodeMediaData(*record->gpsInfo)
                                                 : encodeMediaData(*record->gSensorInfo);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace

class EmbeddedDataTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    QString write(const QByteArray &bytes)
    {
        const QString path = m_folder.filePath(QStringLiteral("recording"));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            qFatal("no temporary file");
        return path;
    }
    /// In memory: a file on disk for each of thousands of cases takes half a minute.
    static std::array<QList<BlockPlace>, blockKindCount> placesIn(const QByteArray &bytes)
    {
        QFile file;
        if (!file.open(memfd_create("recording", 0), QIODevice::ReadWrite, QFileDevice::AutoCloseHandle)
            || file.write(bytes) != bytes.size() || !file.flush())
            qFatal("no file in memory");
        const auto mapped = MappedFile::ofDescriptor(file.handle());
        if (!mapped)
            qFatal("no mapping");
        std::array<QList<BlockPlace>, blockKindCount> places;
        findBlocks(*mapped, [&](BlockKind kind, std::span<const uchar> payload) {
            places[static_cast<size_t>(kind)].append(
                {payload.data() - mapped->bytes().data(), static_cast<qsizetype>(payload.size())});
        });
        return places;
    }

private Q_SLOTS:
    void findsWhatThreePlainSearchesFind()
    {
        QRandomGenerator random(20240309);
        for (int seed = 0; seed < 10'000; ++seed) {
            const QByteArray bytes = randomBytes(random, random.bounded(1, 700));
            const auto places = placesIn(bytes);
            QCOMPARE(places[0], plainSearch(bytes, "DAT"));
            QCOMPARE(places[1], plainSearch(bytes, "GPS"));
            QCOMPARE(places[2], plainSearch(bytes, "SHO"));
        }
    }

    void findsBlocksAcrossPieces()
    {
        // Borders of pieces (1 MiB) at every place of a block's header, and a payload as long as can be.
        QByteArray bytes(14 << 20, 'x');
        QList<BlockPlace> expected;
        for (qsizetype border = 1 << 20, shift = 0; border < bytes.size(); border += 1 << 20, ++shift) {
            bytes.replace(border - shift, 8, "GPS99999");
            expected.append({border - shift + 8, 99999});
        }
        QCOMPARE(placesIn(bytes)[1], expected);
    }

    void aFileThatShrinksIsSearchedAgain()
    {
        const QByteArray block = "GPS00004abcd" + QByteArray(5000, 'x');
        const QByteArray whole = block.repeated(2000);
        const qsizetype half = 1000 * block.size() - 2500;
        for (int round = 0; round < 10; ++round) {
            const QString path = write(whole);
            QFuture<ParsedMediaData> parsed = QtConcurrent::run(parseMediaData, path);
            QVERIFY(QFile::resize(path, half));
            const QList<GPSInfo> positions = parsed.result().records.positions;
            QVERIFY2(positions.size() == 1000 || positions.size() == 2000,
                     qPrintable(QString::number(positions.size())));
            QVERIFY(positions.last() == parseMediaData(path).records.positions.last());
        }
    }

    void parsesBlocks_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<QByteArray>("json"); // empty: no record
        const auto dat = [](const char *name, const QByteArray &payload, const QByteArray &json) {
            QTest::newRow(name) << int(BlockKind::DAT) << payload << json;
        };
        dat("two channels", "x vid:[2]1920.1080.30:1280.720.30;",
            R"({"channelCount":2,"channels":[{"fps":30,"height":1080,"width":1920},{"fps":30,"height":720,"width":1280}],"type":"video_info"})");
        dat("the match ends at a foreign character", "vid:[3]1920.1080.30:abc",
            R"({"channelCount":3,"channels":[{"fps":30,"height":1080,"width":1920}],"type":"video_info"})");
        dat("no height", "vid:[1]1920.0.30", R"({"channelCount":1,"channels":[],"type":"video_info"})");
        dat("empty parts are dropped before counting", "vid:[1]1920..1080.30.",
            R"({"channelCount":1,"channels":[{"fps":30,"height":1080,"width":1920}],"type":"video_info"})");
        dat("a count beyond 64 bits",
            "vid:[12345678901234567890]:", R"({"channelCount":0,"channels":[],"type":"video_info"})");
        dat("no number of channels", "vid:[]1920.1080.30", "");
        dat("not ASCII", "vid:[1]1920.1080.30\x80", "");
        const auto gps = [](const char *name, const QByteArray &payload, const QByteArray &json) {
            QTest::newRow(name) << int(BlockKind::GPS) << payload << json;
        };
        gps("trimmed", QByteArray("\0\r\n$GPRMC,1 \x7f\0", 15), R"({"nmea":"$GPRMC,1","type":"gps_info"})");
        gps("control characters behind a blank stay", QByteArray(" \0a", 3),
            R"({"nmea":"\u0000a","type":"gps_info"})");
        gps("empty", "", R"({"nmea":"","type":"gps_info"})");
        gps("not ASCII", "$GPRMC\xb0", "");
        const auto sho = [](const char *name, const QByteArray &hex, const QByteArray &json) {
            QTest::newRow(name) << int(BlockKind::SHO) << QByteArray::fromHex(hex) << json;
        };
        sho("at rest", "0080808000000018030911053b0000",
            R"({"accel":{"x":0,"y":0,"z":0},"timestamp":"2024-03-09 17:05:59","type":"gsensor_info"})");
        sho("extremes, unchecked clock", "0000ff7f000000ff00000000000000",
            R"({"accel":{"x":-128,"y":127,"z":-1},"timestamp":"20255-00-00 00:00:00","type":"gsensor_info"})");
        sho("too short", "008080800000001803091105 3b00", "");
    }
    void parsesBlocks()
    {
        QFETCH(const int, kind);
        QFETCH(const QByteArray, payload);
        QFETCH(const QByteArray, json);
        const QByteArray record = jsonOf(parseBlock(static_cast<BlockKind>(kind), payload));
        QCOMPARE(record, json);
        QVERIFY(json.isEmpty() || decodeMediaData('[' + record + ']').records);
    }

    void sortsRecordsByKind()
    {
        const ParsedMediaData parsed = parseMediaData(
            write("SHO00015" + QByteArray(15, '\x10') + "GPS00001$" + "DAT00009vid:[1]1." + "GPS00002$2"));
        QCOMPARE(parsed.error, QString());
        QCOMPARE(parsed.records.videoInfos.size(), 1);
        QCOMPARE(parsed.records.positions.size(), 2);
        QCOMPARE(parsed.records.positions.last().nmea, QStringLiteral("$2"));
        QCOMPARE(parsed.records.accelerations.size(), 1);
        QCOMPARE(parseMediaData(m_folder.filePath(QStringLiteral("missing"))).error,
                 QStringLiteral("Cannot read file"));
        QCOMPARE(parseMediaData(write({})).error, QString());
    }

    void recordsAreBounded_data()
    {
        QTest::addColumn<QByteArray>("block");
        QTest::addColumn<int>("count");
        QTest::newRow("very many") << QByteArray("GPS00000") << 3'000'000;
        QTest::newRow("long sentences") << "GPS20000" + QByteArray(20'000, 'x') << 3'000;
        QTest::newRow("long descriptions")
            << "DAT20000vid:[9]" + QByteArray("1.1.1:").repeated(3'332) + ' ' << 3'000;
    }
    void recordsAreBounded()
    {
        QFETCH(const QByteArray, block);
        QFETCH(const int, count);
        LogCapture log;
        const MediaRecords records = parseMediaData(write(block.repeated(count))).records;
        const qsizetype taken = records.positions.size() + records.videoInfos.size();
        QVERIFY(taken > 0 && taken < count);
        QCOMPARE(log.lines().filter(QStringLiteral("too many records")).size(), 1);
    }
};

QTEST_GUILESS_MAIN(EmbeddedDataTest)
#include "tst_embeddeddata.moc"
