#pragma once

#include <optional>
#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUuid>

/// What a record of a recording's embedded data tells. The JSON names are "video_info", "gps_info" and
/// "gsensor_info".
enum class MediaDataType { videoInfo, gpsInfo, gSensor };
[[nodiscard]] QString rawValue(MediaDataType type);
[[nodiscard]] std::optional<MediaDataType> mediaDataTypeFromRawValue(QStringView text);

/// Size in samples and frames per second of one camera channel.
struct VideoChannel {
    qint64 width = 0;
    qint64 height = 0;
    qint64 fps = 0;
    bool operator==(const VideoChannel &) const = default;
};

struct VideoInfo {
    qint64 channelCount = 0;
    QList<VideoChannel> channels;
    bool operator==(const VideoInfo &) const = default;
};

/// One decoded RMC sentence.
struct GPRMC {
    QString timeUTC; ///< as sent
    QString date; ///< as sent
    double latitude = 0; ///< degrees, south negative
    double longitude = 0; ///< degrees, west negative
    double speedKmh = 0;
    double course = 0; ///< degrees, as sent
    bool operator==(const GPRMC &) const = default;
};

struct GPSInfo {
    QString nmea; ///< the raw sentence
    std::optional<GPRMC> data;
    std::optional<QString> timestamp; ///< "yyyy-MM-dd HH:mm:ss"
    std::optional<double> elapse; ///< seconds from the start of the recording
    bool operator==(const GPSInfo &) const = default;
};
Q_DECLARE_TYPEINFO(GPSInfo, Q_RELOCATABLE_TYPE);

/// Acceleration in the sensor's raw units.
struct AccelData {
    qint64 x = 0;
    qint64 y = 0;
    qint64 z = 0;
    bool operator==(const AccelData &) const = default;
};

struct GSensorInfo {
    QString timestamp; ///< "yyyy-MM-dd HH:mm:ss"
    AccelData accel;
    std::optional<double> elapse; ///< seconds from the start of the recording
    bool operator==(const GSensorInfo &) const = default;
};
Q_DECLARE_TYPEINFO(GSensorInfo, Q_RELOCATABLE_TYPE);

/// One record of a recording's embedded data: exactly the field that type names is set.
struct MediaData {
    QUuid id; ///< fresh at each decoding of JSON, and not in it
    MediaDataType type = MediaDataType::videoInfo;
    std::optional<VideoInfo> videoInfo;
    std::optional<GPSInfo> gpsInfo;
    std::optional<GSensorInfo> gSensorInfo;
};

/// The records of one recording, by kind, each in the file's order.
struct MediaRecords {
    QList<VideoInfo> videoInfos;
    QList<GPSInfo> positions;
    QList<GSensorInfo> accelerations;
    void append(MediaData record);
};

enum class JSONLoadError { invalidUTF8 };

/// The records of a JSON array, or why there are none: one bad object fails the whole array.
struct DecodedMediaData {
    std::optional<QList<MediaData>> records;
    QString error;
};
/// Takes any bytes. Each JSON object is flat: its key "type" is also the key of the record inside.
[[nodiscard]] DecodedMediaData decodeMediaData(const QByteArray &json);

/// The objects that decodeMediaData() would read the records back from; fields without a value have no key.
[[nodiscard]] QJsonObject encodeMediaData(const VideoInfo &info);
[[nodiscard]] QJsonObject encodeMediaData(const GPSInfo &info);
[[nodiscard]] QJsonObject encodeMediaData(const GSensorInfo &info);
