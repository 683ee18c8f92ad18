#include "telemetryformats.h"

#include "common/bundle.h"
#include "media/mediadataviewmodel.h"
#include "media/nmea.h"

#include <cmath>
#include <QDateTime>
#include <QIODevice>
#include <QJsonDocument>
#include <QJsonObject>
#include <QXmlStreamWriter>

namespace {

constexpr double kmhPerMetrePerSecond = 3.6;

QJsonObject withNulls(QJsonObject object, std::initializer_list<const char *> keys)
{
    for (const char *key : keys) {
        if (!object.contains(QLatin1StringView(key)))
            object.insert(QLatin1StringView(key), QJsonValue::Null);
    }
    return object;
}

QByteArray lineOf(const QJsonObject &object) { return QJsonDocument(object).toJson(QJsonDocument::Compact); }

QByteArray withNulls(const GPSInfo &sample)
{
    return lineOf(withNulls(encodeMediaData(sample), {"data", "timestamp", "elapse"}));
}

QByteArray withNulls(const GSensorInfo &sample)
{
    return lineOf(withNulls(encodeMediaData(sample), {"elapse"}));
}

/// The items of one JSON array, each on a line of its own.
class ArrayWriter
{
public:
    ArrayWriter(QIODevice *target, const QByteArray &key)
        : m_target(target)
    {
        m_target->write('"' + key + "\": [");
    }
    void add(const QByteArray &item) { m_target->write(std::exchange(m_separator, ",\n") + item); }
    void end() { m_target->write("\n]"); }

private:
    QIODevice *m_target;
    QByteArray m_separator = "\n";
};

template <typename Sample>
void writeAll(QIODevice *target, const QByteArray &key, const QList<Sample> &samples)
{
    ArrayWriter array(target, key);
    for (const Sample &sample : samples)
        array.add(withNulls(sample));
    array.end();
}

void writeRecords(QIODevice *target, const MediaRecords &records)
{
    ArrayWriter array(target, "records");
    for (const VideoInfo &info : records.videoInfos)
        array.add(lineOf(encodeMediaData(info)));
    for (const GPSInfo &position : records.positions)
        array.add(lineOf(encodeMediaData(position)));
    for (const GSensorInfo &acceleration : records.accelerations)
        array.add(lineOf(encodeMediaData(acceleration)));
    array.end();
}

void writePoint(QXmlStreamWriter &xml, const GPRMC &data, const QString &nmea)
{
    xml.writeStartElement(QStringLiteral("trkpt"));
    xml.writeAttribute(QStringLiteral("lat"), QString::number(data.latitude, 'f', 6));
    xml.writeAttribute(QStringLiteral("lon"), QString::number(data.longitude, 'f', 6));
    if (const auto time = gprmcTimestamp(nmea, false))
        xml.writeTextElement(QStringLiteral("time"), QString(*time).replace(u' ', u'T') + u'Z');
    xml.writeStartElement(QStringLiteral("extensions"));
    xml.writeStartElement(QStringLiteral("gpxtpx:TrackPointExtension"));
    xml.writeTextElement(QStringLiteral("gpxtpx:speed"),
                         QString::number(data.speedKmh / kmhPerMetrePerSecond, 'f', 3));
    xml.writeTextElement(QStringLiteral("gpxtpx:course"), QString::number(data.course, 'f', 1));
    xml.writeEndElement();
    xml.writeEndElement();
    xml.writeEndElement();
}

/// By the same clock; empty if one of them tells no time.
QString secondsBetween(const QString &first, const QString &time)
{
    const auto instant = [](const QString &text) {
        QDateTime read = QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd HH:mm:ss"));
        read.setTimeSpec(Qt::UTC); // no hour of it is skipped or repeated
        return read;
    };
    const QDateTime from = instant(first);
    const QDateTime to = instant(time);
    return from.isValid() && to.isValid() ? QString::number(from.secsTo(to)) : QString();
}

QString number(std::optional<double> value, int decimals)
{
    return value ? QString::number(*value, 'f', decimals) : QString();
}

} // namespace

namespace telemetryformats {

void json(const MediaDataViewModel &data, QIODevice *target)
{
    target->write("{\n");
    writeAll(target, "gps", data.gpsEvents());
    target->write(",\n");
    writeAll(target, "gsensor", data.gSensorEvents());
    target->write(",\n");
    writeRecords(target, data.events());
    target->write(",\n\"videoInfo\": ");
    target->write(data.videoInfo() ? lineOf(encodeMediaData(*data.videoInfo())) : QByteArray("null"));
    target->write("\n}\n");
}

void gpx(const QList<GPSInfo> &positions, QIODevice *target)
{
    QXmlStreamWriter xml(target);
    xml.setAutoFormatting(true);
    xml.setAutoFormattingIndent(1);
    xml.writeStartDocument();
    xml.writeStartElement(QStringLiteral("gpx"));
    xml.writeAttribute(QStringLiteral("version"), QStringLiteral("1.1"));
    xml.writeAttribute(QStringLiteral("creator"), applicationName());
    xml.writeAttribute(QStringLiteral("xmlns"), QStringLiteral("http://www.topografix.com/GPX/1/1"));
    xml.writeAttribute(QStringLiteral("xmlns:gpxtpx"),
                       QStringLiteral("http://www.garmin.com/xmlschemas/TrackPointExtension/v2"));
    xml.writeStartElement(QStringLiteral("trk"));
    xml.writeStartElement(QStringLiteral("trkseg"));
    for (const GPSInfo &position : positions) {
        const auto data = parseGPRMC(position.nmea);
        // Others can't stand in such a file.
        const bool isOnEarth = data && std::abs(data->latitude) <= 90 && std::abs(data->longitude) <= 180;
        if (isOnEarth)
            writePoint(xml, *data, position.nmea);
    }
    xml.writeEndDocument();
}

void csv(const MediaDataViewModel &data, QIODevice *target)
{
    target->write("kind,player_second,recorded_second,time_utc,time_camera,latitude,"
                  "longitude,speed_kmh,course,x,y,z\n");
    const QList<GPSInfo> &positions = data.gpsEvents();
    const QString first =
        positions.isEmpty() ? QString() : gprmcTimestamp(positions[0].nmea, false).value_or(QString());
    for (const GPSInfo &sample : positions) {
        const QString time = gprmcTimestamp(sample.nmea, false).value_or(QString());
        QString line =
            QStringLiteral("gps,%1,%2,%3,,").arg(number(sample.elapse, 3), secondsBetween(first, time), time);
        if (sample.data) {
            line += QString::asprintf("%.6f,%.6f,%.3f,%.1f,,,\n", sample.data->latitude,
                                      sample.data->longitude, sample.data->speedKmh, sample.data->course);
        } else {
            line += QStringLiteral(",,,,,,\n");
        }
        target->write(line.toUtf8());
    }
    const QList<GSensorInfo> &accelerations = data.gSensorEvents();
    for (const GSensorInfo &sample : accelerations) {
        const QString line =
            QStringLiteral("gsensor,%1,%2,,%3,,,,,%4,%5,%6\n")
                .arg(number(sample.elapse, 3),
                     secondsBetween(accelerations.first().timestamp, sample.timestamp), sample.timestamp)
                .arg(sample.accel.x)
                .arg(sample.accel.y)
                .arg(sample.accel.z);
        target->write(line.toUtf8());
    }
}

} // namespace telemetryformats
