#include "telemetryformats.h"

#include "common/bundle.h"
#include "media/mediadataviewmodel.h"
#include "media/nmea.h"

#include <cmath>
#include <QDateTime>
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

QJsonObject encode(const GPSInfo &sample)
{
    MediaData record;
    record.gpsInfo = sample;
    return withNulls(encodeMediaData(record), {"data", "timestamp", "elapse"});
}

QJsonObject encode(const GSensorInfo &sample)
{
    MediaData record;
    record.gSensorInfo = sample;
    return withNulls(encodeMediaData(record), {"elapse"});
}

template <typename Sample> QJsonArray encodeAll(const QList<Sample> &samples)
{
    QJsonArray array;
    for (const Sample &sample : samples)
        array.append(encode(sample));
    return array;
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

QByteArray json(const QJsonArray &records, const MediaDataViewModel &data)
{
    MediaData info;
    info.videoInfo = data.videoInfo();
    return QJsonDocument(
               QJsonObject{{QStringLiteral("records"), records},
                           {QStringLiteral("videoInfo"),
                            data.videoInfo() ? QJsonValue(encodeMediaData(info)) : QJsonValue::Null},
                           {QStringLiteral("gps"), encodeAll(data.gpsEvents())},
                           {QStringLiteral("gsensor"), encodeAll(data.gSensorEvents())}})
        .toJson();
}

QByteArray gpx(const QList<MediaData> &records)
{
    QByteArray text;
    QXmlStreamWriter xml(&text);
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
    for (const MediaData &record : records) {
        const auto data = record.gpsInfo ? parseGPRMC(record.gpsInfo->nmea) : std::nullopt;
        // Others can't stand in such a file.
        const bool isOnEarth = data && std::abs(data->latitude) <= 90 && std::abs(data->longitude) <= 180;
        if (isOnEarth)
            writePoint(xml, *data, record.gpsInfo->nmea);
    }
    xml.writeEndDocument();
    return text;
}

QByteArray csv(const MediaDataViewModel &data)
{
    QString text = QStringLiteral("kind,player_second,recorded_second,time_utc,time_camera,latitude,"
                                  "longitude,speed_kmh,course,x,y,z\n");
    const QList<GPSInfo> &positions = data.gpsEvents();
    const QString first =
        positions.isEmpty() ? QString() : gprmcTimestamp(positions[0].nmea, false).value_or(QString());
    for (const GPSInfo &sample : positions) {
        const QString time = gprmcTimestamp(sample.nmea, false).value_or(QString());
        text +=
            QStringLiteral("gps,%1,%2,%3,,").arg(number(sample.elapse, 3), secondsBetween(first, time), time);
        if (sample.data) {
            text += QString::asprintf("%.6f,%.6f,%.3f,%.1f,,,\n", sample.data->latitude,
                                      sample.data->longitude, sample.data->speedKmh, sample.data->course);
        } else {
            text += QStringLiteral(",,,,,,\n");
        }
    }
    const QList<GSensorInfo> &accelerations = data.gSensorEvents();
    for (const GSensorInfo &sample : accelerations) {
        text += QStringLiteral("gsensor,%1,%2,,%3,,,,,%4,%5,%6\n")
                    .arg(number(sample.elapse, 3),
                         secondsBetween(accelerations.first().timestamp, sample.timestamp), sample.timestamp)
                    .arg(sample.accel.x)
                    .arg(sample.accel.y)
                    .arg(sample.accel.z);
    }
    return text.toUtf8();
}

} // namespace telemetryformats
