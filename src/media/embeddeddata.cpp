#include "embeddeddata.h"

#include "common/log.h"
#include "common/mappedfile.h"
#include "common/text.h"

#include <algorithm>
#include <QCoreApplication>
#include <QFile>
#include <QRegularExpression>
#include <QThreadPool>

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

std::optional<QJsonObject> parsePosition(QByteArrayView payload)
{
    const auto ascii = asciiText(payload);
    if (!ascii)
        return std::nullopt;
    const QStringView sentence = trimmed(trimmed(*ascii, isControl), isBlankOrLineEnd);
    return QJsonObject{{QStringLiteral("type"), QStringLiteral("gps_info")},
                       {QStringLiteral("nmea"), sentence.toString()}};
}

/// W.H.F, each a whole number of at least 1.
std::optional<QJsonObject> parseChannel(QStringView piece)
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
    return QJsonObject{{QStringLiteral("width"), numbers[0]},
                       {QStringLiteral("height"), numbers[1]},
                       {QStringLiteral("fps"), numbers[2]}};
}

/// For example "vid:[2]1920.1080.30:1280.720.30", anywhere in the payload.
std::optional<QJsonObject> parseChannels(QByteArrayView payload)
{
    const auto ascii = asciiText(payload);
    if (!ascii)
        return std::nullopt;
    static const QRegularExpression pattern(QStringLiteral("vid:\\[(\\d+)\\]([0-9.:]+)"));
    const QRegularExpressionMatch match = pattern.match(*ascii);
    if (!match.hasMatch())
        return std::nullopt;
    QJsonArray channels;
    const auto pieces = match.capturedView(2).split(u':', Qt::SkipEmptyParts);
    for (const QStringView piece : pieces) {
        if (const auto channel = parseChannel(piece))
            channels.append(*channel);
    }
    return QJsonObject{
        {QStringLiteral("type"), QStringLiteral("video_info")},
        {QStringLiteral("channelCount"), text::parseInteger(match.capturedView(1)).value_or(0)},
        {QStringLiteral("channels"), channels}};
}

/// Bytes 1 to 3: x, y, z plus 128; bytes 7 to 12: year of the century, month, day, hour, minute, second of
/// the camera's clock.
std::optional<QJsonObject> parseAcceleration(QByteArrayView payload)
{
    if (payload.size() < 15)
        return std::nullopt;
    const auto byte = [payload](qsizetype i) { return int{static_cast<uchar>(payload[i])}; };
    const QString timestamp = QString::asprintf("20%02d-%02d-%02d %02d:%02d:%02d", byte(7), byte(8), byte(9),
                                                byte(10), byte(11), byte(12));
    const QJsonObject accel{{QStringLiteral("x"), byte(1) - 128},
                            {QStringLiteral("y"), byte(2) - 128},
                            {QStringLiteral("z"), byte(3) - 128}};
    return QJsonObject{{QStringLiteral("type"), QStringLiteral("gsensor_info")},
                       {QStringLiteral("accel"), accel},
                       {QStringLiteral("timestamp"), timestamp}};
}

} // namespace

std::optional<QJsonObject> parseBlock(BlockKind kind, QByteArrayView payload)
{
    switch (kind) {
    case BlockKind::DAT: return parseChannels(payload);
    case BlockKind::GPS: return parsePosition(payload);
    case BlockKind::SHO: return parseAcceleration(payload);
    }
    return std::nullopt;
}

namespace {

QJsonArray recordsIn(const MappedFile &file)
{
    std::array<QJsonArray, blockKindCount> recordsOfKind;
    findBlocks(file, [&](BlockKind kind, std::span<const uchar> payload) {
        const QByteArrayView bytes(payload.data(), static_cast<qsizetype>(payload.size()));
        if (const auto record = parseBlock(kind, bytes))
            recordsOfKind[static_cast<size_t>(kind)].append(*record);
    });
    QJsonArray records;
    for (const QJsonArray &ofKind : recordsOfKind) {
        for (const auto record : ofKind)
            records.append(record);
    }
    return records;
}

} // namespace

QJsonArray parseMediaData(const QString &path)
{
    QFile file(path);
    const bool isOpen = file.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    for (int attempts = 3; isOpen && attempts > 0; --attempts) {
        const auto mapped = MappedFile::ofDescriptor(file.handle());
        if (!mapped)
            break;
        QJsonArray records = recordsIn(*mapped);
        const bool isWhole = file.size() >= static_cast<qint64>(mapped->bytes().size());
        if (isWhole && mapped->hasShrunk())
            logLine({QStringLiteral("[EmbeddedData] some bytes couldn't be read:"), path});
        if (isWhole)
            return records;
    }
    return {QJsonObject{{QStringLiteral("error"), QStringLiteral("Cannot read file")}}};
}

void parseMediaDataAsync(const QString &path, std::function<void(QJsonArray)> completion)
{
    QThreadPool::globalInstance()->start([path, completion = std::move(completion)] {
        const QJsonArray records = parseMediaData(path);
        QMetaObject::invokeMethod(
            QCoreApplication::instance(), [completion, records] { completion(records); },
            Qt::QueuedConnection);
    });
}
