#include "mediadata.h"

#include <array>
#include <QJsonArray>
#include <QJsonDocument>
#include <utility>

namespace {

constexpr std::array<std::pair<MediaDataType, QStringView>, 3> typeNames{{
    {MediaDataType::videoInfo, u"video_info"},
    {MediaDataType::gpsInfo, u"gps_info"},
    {MediaDataType::gSensor, u"gsensor_info"},
}};

/// Reads typed values out of one JSON object and remembers the first that is missing or of another type:
/// QJsonValue's own conversions would turn such values into defaults without a word.
class ObjectReader
{
public:
    explicit ObjectReader(QJsonObject object)
        : m_object(std::move(object))
    {
    }

    [[nodiscard]] const QString &error() const { return m_error; }

    QString text(const QString &key)
    {
        const QJsonValue value = m_object.value(key);
        require(key, value.isString());
        return value.toString();
    }

    double number(const QString &key)
    {
        const QJsonValue value = m_object.value(key);
        require(key, value.isDouble());
        return value.toDouble();
    }

    qint64 integer(const QString &key)
    {
        const QJsonValue value = m_object.value(key);
        // Only a whole number within 64 bits answers the same whatever the default.
        require(key, value.isDouble() && value.toInteger(0) == value.toInteger(1));
        return value.toInteger();
    }

    QJsonObject object(const QString &key)
    {
        const QJsonValue value = m_object.value(key);
        require(key, value.isObject());
        return value.toObject();
    }

    QJsonArray array(const QString &key)
    {
        const QJsonValue value = m_object.value(key);
        require(key, value.isArray());
        return value.toArray();
    }

    /// An optional key may be missing or null.
    [[nodiscard]] bool has(const QString &key) const
    {
        const QJsonValue value = m_object.value(key);
        return !value.isUndefined() && !value.isNull();
    }

    void require(const QString &what, bool holds)
    {
        if (!holds && m_error.isEmpty())
            m_error = QStringLiteral("bad or missing \"%1\"").arg(what);
    }

    void takeErrorOf(const ObjectReader &inner)
    {
        if (m_error.isEmpty())
            m_error = inner.m_error;
    }

private:
    QJsonObject m_object;
    QString m_error;
};

VideoInfo readVideoInfo(ObjectReader &reader)
{
    VideoInfo info;
    info.channelCount = reader.integer(QStringLiteral("channelCount"));
    const QJsonArray channels = reader.array(QStringLiteral("channels"));
    for (const auto &value : channels) {
        reader.require(QStringLiteral("channels"), value.isObject());
        ObjectReader channel(value.toObject());
        info.channels.append({.width = channel.integer(QStringLiteral("width")),
                              .height = channel.integer(QStringLiteral("height")),
                              .fps = channel.integer(QStringLiteral("fps"))});
        reader.takeErrorOf(channel);
    }
    return info;
}

GPRMC readGprmc(ObjectReader &reader)
{
    return {.timeUTC = reader.text(QStringLiteral("timeUTC")),
            .date = reader.text(QStringLiteral("date")),
            .latitude = reader.number(QStringLiteral("latitude")),
            .longitude = reader.number(QStringLiteral("longitude")),
            .speedKmh = reader.number(QStringLiteral("speedKmh")),
            .course = reader.number(QStringLiteral("course"))};
}

GPSInfo readGpsInfo(ObjectReader &reader)
{
    GPSInfo info;
    info.nmea = reader.text(QStringLiteral("nmea"));
    if (reader.has(QStringLiteral("data"))) {
        ObjectReader data(reader.object(QStringLiteral("data")));
        info.data = readGprmc(data);
        reader.takeErrorOf(data);
    }
    if (reader.has(QStringLiteral("timestamp")))
        info.timestamp = reader.text(QStringLiteral("timestamp"));
    if (reader.has(QStringLiteral("elapse")))
        info.elapse = reader.number(QStringLiteral("elapse"));
    return info;
}

GSensorInfo readGSensorInfo(ObjectReader &reader)
{
    GSensorInfo info;
    info.timestamp = reader.text(QStringLiteral("timestamp"));
    ObjectReader accel(reader.object(QStringLiteral("accel")));
    info.accel = {.x = accel.integer(QStringLiteral("x")),
                  .y = accel.integer(QStringLiteral("y")),
                  .z = accel.integer(QStringLiteral("z"))};
    reader.takeErrorOf(accel);
    if (reader.has(QStringLiteral("elapse")))
        info.elapse = reader.number(QStringLiteral("elapse"));
    return info;
}

MediaData readMediaData(ObjectReader &reader)
{
    MediaData record;
    record.id = QUuid::createUuid();
    const auto type = mediaDataTypeFromRawValue(reader.text(QStringLiteral("type")));
    reader.require(QStringLiteral("type"), type.has_value());
    if (!type)
        return record;
    record.type = *type;
    switch (*type) {
    case MediaDataType::videoInfo: record.videoInfo = readVideoInfo(reader); break;
    case MediaDataType::gpsInfo: record.gpsInfo = readGpsInfo(reader); break;
    case MediaDataType::gSensor: record.gSensorInfo = readGSensorInfo(reader); break;
    }
    return record;
}

QJsonObject encode(const GPRMC &data)
{
    return {{QStringLiteral("timeUTC"), data.timeUTC},   {QStringLiteral("date"), data.date},
            {QStringLiteral("latitude"), data.latitude}, {QStringLiteral("longitude"), data.longitude},
            {QStringLiteral("speedKmh"), data.speedKmh}, {QStringLiteral("course"), data.course}};
}

QJsonObject objectOf(MediaDataType type) { return {{QStringLiteral("type"), rawValue(type)}}; }

} // namespace

QString rawValue(MediaDataType type)
{
    for (const auto &[value, name] : typeNames) {
        if (value == type)
            return name.toString();
    }
    Q_UNREACHABLE();
}

std::optional<MediaDataType> mediaDataTypeFromRawValue(QStringView text)
{
    for (const auto &[value, name] : typeNames) {
        if (name == text)
            return value;
    }
    return std::nullopt;
}

void MediaRecords::append(MediaData record)
{
    if (record.videoInfo)
        videoInfos.append(std::move(*record.videoInfo));
    if (record.gpsInfo)
        positions.append(std::move(*record.gpsInfo));
    if (record.gSensorInfo)
        accelerations.append(std::move(*record.gSensorInfo));
}

DecodedMediaData decodeMediaData(const QByteArray &json)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return {.records = std::nullopt, .error = parseError.errorString()};
    if (!document.isArray())
        return {.records = std::nullopt, .error = QStringLiteral("not an array")};
    QList<MediaData> records;
    const QJsonArray array = document.array();
    for (const auto &value : array) {
        ObjectReader reader(value.toObject());
        records.append(readMediaData(reader));
        if (!reader.error().isEmpty())
            return {.records = std::nullopt, .error = reader.error()};
    }
    return {.records = std::move(records), .error = {}};
}

QJsonObject encodeMediaData(const VideoInfo &info)
{
    QJsonArray channels;
    for (const VideoChannel &channel : info.channels) {
        channels.append(QJsonObject{{QStringLiteral("width"), channel.width},
                                    {QStringLiteral("height"), channel.height},
                                    {QStringLiteral("fps"), channel.fps}});
    }
    QJsonObject object = objectOf(MediaDataType::videoInfo);
    object.insert(QStringLiteral("channelCount"), info.channelCount);
    object.insert(QStringLiteral("channels"), channels);
    return object;
}

QJsonObject encodeMediaData(const GPSInfo &info)
{
    QJsonObject object = objectOf(MediaDataType::gpsInfo);
    object.insert(QStringLiteral("nmea"), info.nmea);
    if (info.data)
        object.insert(QStringLiteral("data"), encode(*info.data));
    if (info.timestamp)
        object.insert(QStringLiteral("timestamp"), *info.timestamp);
    if (info.elapse)
        object.insert(QStringLiteral("elapse"), *info.elapse);
    return object;
}

QJsonObject encodeMediaData(const GSensorInfo &info)
{
    QJsonObject object = objectOf(MediaDataType::gSensor);
    object.insert(QStringLiteral("timestamp"), info.timestamp);
    object.insert(QStringLiteral("accel"),
                  QJsonObject{{QStringLiteral("x"), info.accel.x},
                              {QStringLiteral("y"), info.accel.y},
                              {QStringLiteral("z"), info.accel.z}});
    if (info.elapse)
        object.insert(QStringLiteral("elapse"), *info.elapse);
    return object;
}
