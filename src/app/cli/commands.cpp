#include "commands.h"

#include "cardimage.h"
#include "common/bundle.h"

#include <limits>
#include <QCommandLineParser>
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

Request answerOnly(ExitStatus status, const QString &text)
{
    Request request;
    request.answer = Outcome{status, text};
    return request;
}

QString exitStatusHelp()
{
    return Request::tr(
        "\n종료 코드: 0 완료, 1 잘못된 명령, 2 카드 이미지를 읽을 수 없음, 3 손상되어 일부만 읽음,\n"
        "4 없는 녹화 파일, 5 결과를 쓸 수 없음, 6 도구 오류");
}

} // namespace

Request Request::parse(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(tr("블랙박스 메모리 카드 이미지를 창 없이 읽습니다.\n\n"
                                        "  vornex-cli list IMAGE [--json]\n"
                                        "  vornex-cli extract IMAGE PATH TARGET"));
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    const QCommandLineOption json(QStringLiteral("json"), tr("list의 결과를 JSON으로 출력합니다."));
    const QCommandLineOption verbose(QStringLiteral("verbose"), tr("기록을 표준 오류로 출력합니다."));
    parser.addOptions({json, verbose});
    parser.addPositionalArgument(QStringLiteral("list|extract"), tr("할 일"));
    parser.addPositionalArgument(QStringLiteral("IMAGE"), tr("카드 이미지 파일"));
    parser.addPositionalArgument(QStringLiteral("PATH"),
                                 tr("카드 안의 경로 (예: mov/event/E_20240309_170559.mp4)"),
                                 QStringLiteral("[PATH]"));
    parser.addPositionalArgument(QStringLiteral("TARGET"), tr("만들 파일"), QStringLiteral("[TARGET]"));

    if (!parser.parse(arguments))
        return answerOnly(ExitStatus::Usage, parser.errorText());
    if (parser.isSet(help))
        return answerOnly(ExitStatus::Whole, parser.helpText() + exitStatusHelp());
    if (parser.isSet(version)) {
        return answerOnly(ExitStatus::Whole,
                          QStringLiteral("vornex-cli %1 (%2)").arg(shortVersion(), buildVersion()));
    }
    Request request;
    const QStringList words = parser.positionalArguments();
    request.isJson = parser.isSet(json);
    request.isVerbose = parser.isSet(verbose);
    if (words.size() == 2 && words[0] == u"list") {
        request.image = words[1];
        return request;
    }
    if (words.size() == 4 && words[0] == u"extract" && !request.isJson) {
        request.command = Command::Extract;
        request.image = words[1];
        request.cardPath = words[2];
        request.target = words[3];
        return request;
    }
    return answerOnly(ExitStatus::Usage, tr("잘못된 명령입니다. vornex-cli --help를 보십시오."));
}

QCoro::Task<Outcome> carryOut(Request request, QIODevice *results)
{
    CardImage card(request.image);
    const Outcome opened = co_await card.open();
    if (opened.status != ExitStatus::Whole)
        co_return opened;
    if (request.command == Request::Command::Extract) {
        const Outcome extracted = co_await card.extract(request.cardPath, request.target);
        co_return extracted;
    }
    const CardImage::Listing listing = co_await card.list();
    if (listing.outcome.status == ExitStatus::NoCard)
        co_return listing.outcome;
    const QByteArray text = request.isJson ? asJson(listing) : asText(listing);
    if (results->write(text) != text.size())
        co_return Outcome{ExitStatus::NotWritten, results->errorString()};
    co_return listing.outcome;
}
