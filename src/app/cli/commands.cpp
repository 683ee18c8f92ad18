#include "commands.h"

#include "cardimage.h"
#include "common/bundle.h"

#include <algorithm>
#include <cmath>
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
    return Request::tr("\n종료 코드: 0 완료, 1 잘못된 명령, 2 카드 이미지나 설정 파일을 읽을 수 없음, 3 "
                       "손상되어 일부만 읽음,\n"
                       "4 없는 녹화 파일, 5 결과를 쓸 수 없음, 6 도구 오류");
}

/// For cameras' settings files, without a card.
struct SettingsOptions {
    const QCommandLineOption ini{QStringLiteral("ini"), Request::tr("settings: 읽을 bbox.ini"),
                                 QStringLiteral("FILE")};
    const QCommandLineOption cfg{QStringLiteral("cfg"), Request::tr("settings: 읽을 bbox.cfg"),
                                 QStringLiteral("FILE")};
    const QCommandLineOption reset{QStringLiteral("reset"), Request::tr("settings: 초기값으로 되돌립니다.")};
    const QCommandLineOption set{QStringLiteral("set"), Request::tr("settings: 항목의 값을 바꿉니다."),
                                 QStringLiteral("FIELD=VALUE")};
    const QCommandLineOption save{QStringLiteral("save"), Request::tr("settings: 저장할 bbox.cfg"),
                                  QStringLiteral("FILE")};

    [[nodiscard]] QList<QCommandLineOption> all() const { return {ini, cfg, reset, set, save}; }
    [[nodiscard]] bool isAnySet(const QCommandLineParser &parser) const
    {
        const QList<QCommandLineOption> options = all();
        return std::any_of(options.begin(), options.end(),
                           [&parser](const QCommandLineOption &option) { return parser.isSet(option); });
    }
    [[nodiscard]] SettingsRequest request(const QCommandLineParser &parser) const
    {
        return {parser.value(ini), parser.value(cfg), parser.isSet(reset), parser.values(set),
                parser.value(save)};
    }
};

} // namespace

Request Request::parse(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(tr("블랙박스 메모리 카드 이미지를 창 없이 읽습니다.\n\n"
                                        "  vornex-cli list IMAGE [--json]\n"
                                        "  vornex-cli extract IMAGE PATH TARGET\n"
                                        "  vornex-cli settings [--ini FILE] [--cfg FILE] [--reset] "
                                        "[--set FIELD=VALUE ...] [--save FILE]\n"
                                        "  vornex-cli telemetry RECORDING [--duration SECONDS]\n"
                                        "                       [--format json|location|gsensor|gpx|csv]"));
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    const QCommandLineOption json(QStringLiteral("json"), tr("list의 결과를 JSON으로 출력합니다."));
    const QCommandLineOption verbose(QStringLiteral("verbose"), tr("기록을 표준 오류로 출력합니다."));
    const QCommandLineOption duration(QStringLiteral("duration"),
                                      tr("telemetry: 영상의 길이(초). 없으면 영상 파일에서 읽습니다."),
                                      QStringLiteral("SECONDS"));
    const QCommandLineOption format(QStringLiteral("format"),
                                    tr("telemetry: json(기본), location, gsensor, gpx, csv"),
                                    QStringLiteral("FORMAT"));
    const SettingsOptions settingsOptions;
    parser.addOptions({json, verbose, duration, format});
    parser.addOptions(settingsOptions.all());
    parser.addPositionalArgument(QStringLiteral("list|extract|settings|telemetry"), tr("할 일"));
    parser.addPositionalArgument(QStringLiteral("IMAGE|RECORDING"), tr("카드 이미지 파일, 또는 녹화 파일"));
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
    const bool hasTelemetryOption = parser.isSet(duration) || parser.isSet(format);
    if (words.size() == 2 && words[0] == u"telemetry" && !request.isJson
        && !settingsOptions.isAnySet(parser)) {
        Request telemetryRequest = parseTelemetry(words[1], parser.value(duration), parser.value(format));
        telemetryRequest.isVerbose = request.isVerbose;
        return telemetryRequest;
    }
    if (words == QStringList(QStringLiteral("settings")) && !request.isJson && !hasTelemetryOption) {
        request.command = Command::Settings;
        request.settings = settingsOptions.request(parser);
        return request;
    }
    if (settingsOptions.isAnySet(parser))
        return answerOnly(ExitStatus::Usage, tr("잘못된 명령입니다. vornex-cli --help를 보십시오."));
    if (words.size() == 2 && words[0] == u"list" && !hasTelemetryOption) {
        request.image = words[1];
        return request;
    }
    if (words.size() == 4 && words[0] == u"extract" && !request.isJson && !hasTelemetryOption) {
        request.command = Command::Extract;
        request.image = words[1];
        request.cardPath = words[2];
        request.target = words[3];
        return request;
    }
    return answerOnly(ExitStatus::Usage, tr("잘못된 명령입니다. vornex-cli --help를 보십시오."));
}

/// An option that wasn't given is empty.
Request Request::parseTelemetry(const QString &recording, const QString &duration, const QString &format)
{
    Request request;
    request.command = Command::Telemetry;
    request.telemetry.recording = recording;
    if (!duration.isEmpty()) {
        bool isNumber = false;
        const double seconds = duration.toDouble(&isNumber);
        if (!isNumber || !std::isfinite(seconds) || seconds < 0)
            return answerOnly(ExitStatus::Usage, tr("%1: 초를 나타내는 수가 아닙니다.").arg(duration));
        request.telemetry.durationSeconds = seconds;
    }
    const auto named = telemetryFormat(format.isEmpty() ? QStringLiteral("json") : format);
    if (!named)
        return answerOnly(ExitStatus::Usage, tr("%1: 알 수 없는 형식입니다.").arg(format));
    request.telemetry.format = *named;
    return request;
}

QCoro::Task<Outcome> carryOut(Request request, QIODevice *results)
{
    if (request.command == Request::Command::Telemetry) {
        const Outcome told = co_await tellTelemetry(request.telemetry, results);
        co_return told;
    }
    if (request.command == Request::Command::Settings)
        co_return carryOut(request.settings, results);
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
