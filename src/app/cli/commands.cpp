#include "commands.h"

#include "cardimage.h"

#include <limits>
#include <QIODevice>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

QByteArray asJson(const CardImage::Listing &listing)
{
    QJsonArray recordings;
    for (const FileListItem &item : listing.recordings) {
        const bool isExact = item.size <= static_cast<quint64>(std::numeric_limits<qint64>::max());
        const QJsonValue size =
            isExact ? QJsonValue(static_cast<qint64>(item.size)) : QJsonValue(static_cast<double>(item.size));
        recordings.append(QJsonObject{{QStringLiteral("type"), item.type},
                                      {QStringLiteral("name"), item.name},
                                      {QStringLiteral("size"), size},
                                      {QStringLiteral("dateText"), item.dateText()},
                                      {QStringLiteral("kindLabel"), item.kindLabel()}});
    }
    return QJsonDocument(QJsonObject{{QStringLiteral("recordings"), recordings},
                                     {QStringLiteral("recordedChannelCount"), listing.recordedChannelCount}})
        .toJson();
}

/// The card path stands last, ready to be given to "extract".
QByteArray asText(const CardImage::Listing &listing)
{
    QByteArray text;
    for (const FileListItem &item : listing.recordings) {
        const QString line = QStringLiteral("%1 %2 %3 %4\n")
                                 .arg(item.kindLabel(), -3)
                                 .arg(item.dateText(), -19)
                                 .arg(item.size, 12)
                                 .arg(item.cardPath());
        text += line.toUtf8();
    }
    return text;
}

} // namespace

QCoro::Task<Outcome> carryOut(Request request, QIODevice *results)
{
    if (request.command == Request::Command::Telemetry) {
        const Outcome told = co_await tellTelemetry(request.telemetry, results);
        co_return told;
    }
    if (request.command == Request::Command::Settings)
        co_return carryOut(request.settings, results);
    if (request.command == Request::Command::Repair) {
        const Outcome repaired = co_await repair(request.repair, results);
        co_return repaired;
    }
    CardImage card(request.image);
    const Outcome opened = co_await card.open();
    if (opened.status != ExitStatus::Whole)
        co_return opened;
    if (request.command == Request::Command::Extract) {
        const Outcome extracted = co_await card.extract(request.cardPath, request.target, request.existing);
        co_return extracted;
    }
    const CardImage::Listing listing = co_await card.list();
    if (listing.outcome.status == ExitStatus::NoCard)
        co_return listing.outcome;
    const QByteArray text = request.isJson ? asJson(listing) : asText(listing);
    const Outcome delivered = deliver(results, text);
    co_return delivered.isWhole() ? listing.outcome : delivered;
}
