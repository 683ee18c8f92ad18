#include "embeddeddata.h"

#include "common/log.h"
#include "common/mappedfile.h"
#include "common/text.h"

#include <algorithm>
#include <QFile>
#include <QRegularExpression>

namespace {

std::optional<QString> asciiText(QByteArrayView payload)
{
    if (std::any_of(payload.begin(), payload.end(), [](char c) { return static_cast<uchar>(c) > 0x7f; }))
        return std::nullopt;
    return QString::fromLatin1(payload);
}

template <typename Predicate> QStringView trimmed(QStringView text, Predicate isDropped)
{
    while (!text.isEmpty() && isDropped(text.front()))
        text = text.sliced(1);
    while (!text.isEmpty() && isDropped(text.back()))
        text.chop(1);
    return text;
}

bool isControl(QChar c) { return c.unicode() < 0x20 || c.unicode() == 0x7f; }

bool isBlankOrLineEnd(QChar c) { return c == u' ' || (c.unicode() >= 0x09 && c.unicode() <= 0x0d); }

std::optional<MediaData> parsePosition(QByteArrayView payload)
{
    const auto ascii = asciiText(payload);
    if (!ascii)
        return std::nullopt;
    const QStringView sentence = trimmed(trimmed(*ascii, isControl), isBlankOrLineEnd);
    MediaData record;
    record.type = MediaDataType::gpsInfo;
    record.gpsInfo.emplace().nmea = sentence.toString();
    return record;
}

/// W.H.F, each a whole number of at least 1.
std::optional<VideoChannel> parseChannel(QStringView piece)
{
    const auto parts = piece.split(u'.', Qt::SkipEmptyParts);
    if (parts.size() != 3)
        return std::nullopt;
    std::array<qint64, 3> numbers{};
    for (qsizetype i = 0; i < 3; ++i) {
        const auto number = text::parseInteger(parts[i]);
        if (!number || *number < 1)
            return std::nullopt;
        numbers[static_cast<size_t>(i)] = *number;
    }
    return VideoChannel{.width = numbers[0], .height = numbers[1], .fps = numbers[2]};
}

/// For example "vid:[2]1920.1080.30:1280.720.30", anywhere in the payload.
std::optional<MediaData> parseChannels(QByteArrayView payload)
{
    const auto ascii = asciiText(payload);
    if (!ascii)
        return std::nullopt;
    static const QRegularExpression pattern(QStringLiteral("vid:\\[(\\d+)\\]([0-9.:]+)"));
    const QRegularExpressionMatch match = pattern.match(*ascii);
    if (!match.hasMatch())
        return std::nullopt;
    MediaData record;
    record.type = MediaDataType::videoInfo;
    VideoInfo &info = record.videoInfo.emplace();
    info.channelCount = text::parseInteger(match.capturedView(1)).value_or(0);
    const auto pieces = match.capturedView(2).split(u':', Qt::SkipEmptyParts);
    for (const QStringView piece : pieces) {
        if (const auto channel = parseChannel(piece))
            info.channels.append(*channel);
    }
    return record;
}

/// Bytes 1 to 3: x, y, z plus 128; bytes 7 to 12: year of the century, month, day, hour, minute, second of
/// the camera's clock.
std::optional<MediaData> parseAcceleration(QByteArrayView payload)
{
    if (payload.size() < 15)
        return std::nullopt;
    const auto byte = [payload](qsizetype i) { return int{static_cast<uchar>(payload[i])}; };
    MediaData record;
    record.type = MediaDataType::gSensor;
    record.gSensorInfo = {.timestamp = QString::asprintf("20%02d-%02d-%02d %02d:%02d:%02d", byte(7), byte(8),
                                                         byte(9), byte(10), byte(11), byte(12)),
                          .accel = {.x = byte(1) - 128, .y = byte(2) - 128, .z = byte(3) - 128},
                          .elapse = {}};
    return record;
}

} // namespace

std::optional<MediaData> parseBlock(BlockKind kind, QByteArrayView payload)
{
    switch (kind) {
    case BlockKind::DAT: return parseChannels(payload);
    case BlockKind::GPS: return parsePosition(payload);
    case BlockKind::SHO: return parseAcceleration(payload);
    }
    return std::nullopt;
}

namespace {

// A day of ten samples and one position a second takes 90 MiB, of which its sentences are 7 million
// characters.
constexpr qint64 mostMemory = qint64{112} << 20;
constexpr qint64 mostSentenceText = 16'000'000;

qint64 memoryOf(const QString &text) { return text.isEmpty() ? 0 : 32 + 2 * text.capacity(); }

/// Takes the records of a file as long as there is room for them.
class Collector
{
public:
    void take(BlockKind kind, QByteArrayView payload)
    {
        if (m_isFull)
            return;
        std::optional<MediaData> record = parseBlock(kind, payload);
        if (!record)
            return;
        m_memory += memoryOf(*record);
        m_isFull = m_memory > mostMemory || m_sentenceText > mostSentenceText;
        if (!m_isFull)
            m_records.append(std::move(*record));
    }
    [[nodiscard]] bool isFull() const { return m_isFull; }
    [[nodiscard]] MediaRecords takeRecords() { return std::move(m_records); }

private:
    /// Of what it adds.
    qint64 memoryOf(MediaData &record)
    {
        if (record.videoInfo)
            return qint64{sizeof(VideoInfo)} + 32
                + record.videoInfo->channels.capacity() * qint64{sizeof(VideoChannel)};
        if (record.gpsInfo) {
            m_sentenceText += record.gpsInfo->nmea.size();
            return qint64{sizeof(GPSInfo)} + ::memoryOf(record.gpsInfo->nmea);
        }
        // All samples of a second share its text.
        QString &timestamp = record.gSensorInfo->timestamp;
        if (!m_records.accelerations.isEmpty() && m_records.accelerations.last().timestamp == timestamp) {
            timestamp = m_records.accelerations.last().timestamp;
            return sizeof(GSensorInfo);
        }
        return qint64{sizeof(GSensorInfo)} + ::memoryOf(timestamp);
    }

    MediaRecords m_records;
    qint64 m_memory = 0;
    qint64 m_sentenceText = 0;
    bool m_isFull = false;
};

} // namespace

ParsedMediaData parseMediaData(const QString &path)
{
    QFile file(path);
    const bool isOpen = file.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    for (int attempts = 3; isOpen && attempts > 0; --attempts) {
        const auto mapped = MappedFile::ofDescriptor(file.handle());
        if (!mapped)
            break;
        Collector collector;
        const bool isSearched = findBlocks(*mapped, [&](BlockKind kind, std::span<const uchar> payload) {
            collector.take(kind, QByteArrayView(payload.data(), static_cast<qsizetype>(payload.size())));
        });
        if (file.size() < static_cast<qint64>(mapped->bytes().size()))
            continue;
        if (mapped->hasShrunk())
            logLine({QStringLiteral("[EmbeddedData] some bytes couldn't be read:"), path});
        if (collector.isFull() || !isSearched)
            logLine({QStringLiteral("[EmbeddedData] too many records, the rest is left out:"), path});
        return {collector.takeRecords(), {}};
    }
    return {{}, QStringLiteral("Cannot read file")};
}
