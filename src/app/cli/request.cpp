#include "request.h"

#include "common/bundle.h"

#include <algorithm>
#include <cmath>
#include <QCommandLineParser>

namespace {

using Command = Request::Command;

struct Options {
    const QCommandLineOption json{QStringLiteral("json"), Request::tr("list의 결과를 JSON으로 출력합니다.")};
    const QCommandLineOption verbose{QStringLiteral("verbose"),
                                     Request::tr("기록을 표준 오류로 출력합니다.")};
    const QCommandLineOption force{QStringLiteral("force"), Request::tr("이미 있는 파일을 바꿉니다.")};
    const QCommandLineOption duration{
        QStringLiteral("duration"), Request::tr("telemetry: 영상의 길이(초). 없으면 영상 파일에서 읽습니다."),
        QStringLiteral("SECONDS")};
    const QCommandLineOption format{QStringLiteral("format"),
                                    Request::tr("telemetry: json(기본), location, gsensor, gpx, csv"),
                                    QStringLiteral("FORMAT")};
    const QCommandLineOption ini{QStringLiteral("ini"), Request::tr("settings: 읽을 bbox.ini"),
                                 QStringLiteral("FILE")};
    const QCommandLineOption cfg{QStringLiteral("cfg"), Request::tr("settings: 읽을 bbox.cfg"),
                                 QStringLiteral("FILE")};
    const QCommandLineOption reset{QStringLiteral("reset"), Request::tr("settings: 초기값으로 되돌립니다.")};
    const QCommandLineOption set{QStringLiteral("set"), Request::tr("settings: 항목의 값을 바꿉니다."),
                                 QStringLiteral("FIELD=VALUE")};
    const QCommandLineOption save{QStringLiteral("save"), Request::tr("settings: 저장할 bbox.cfg"),
                                  QStringLiteral("FILE")};
};

/// One way to call the program.
struct Form {
    Command command;
    QString word;
    qsizetype wordCount; ///< with the command itself
    QList<QCommandLineOption> options; ///< that it takes, besides those that every one takes
};

QList<Form> formsOf(const Options &options)
{
    return {{Command::List, QStringLiteral("list"), 2, {options.json}},
            {Command::Extract, QStringLiteral("extract"), 4, {options.force}},
            {Command::Repair, QStringLiteral("repair"), 3, {options.force}},
            {Command::Telemetry, QStringLiteral("telemetry"), 2, {options.duration, options.format}},
            {Command::Settings,
             QStringLiteral("settings"),
             1,
             {options.ini, options.cfg, options.reset, options.set, options.save, options.force}}};
}

/// None if the words and options aren't those of any.
std::optional<Command> commandOf(const QCommandLineParser &parser, const Options &options)
{
    const QStringList words = parser.positionalArguments();
    const QStringList given = parser.optionNames();
    for (const Form &form : formsOf(options)) {
        if (words.value(0) != form.word)
            continue;
        QStringList allowed = options.verbose.names();
        for (const QCommandLineOption &option : form.options)
            allowed += option.names();
        const bool isEachAllowed = std::all_of(given.cbegin(), given.cend(),
                                               [&](const QString &name) { return allowed.contains(name); });
        if (words.size() == form.wordCount && isEachAllowed)
            return form.command;
    }
    return std::nullopt;
}

Request answerOnly(ExitStatus status, const QString &text)
{
    Request request;
    request.answer = Outcome{status, text};
    return request;
}

QString exitStatusHelp()
{
    return Request::tr("\n종료 코드: 0 완료, 1 카드 이미지나 설정 파일을 읽을 수 없음, 2 잘못된 명령, 3 "
                       "손상되어 일부만 읽거나 복구함,\n"
                       "4 없는 녹화 파일, 5 결과를 쓸 수 없음, 6 도구 오류, 7 복구할 수 없는 영상");
}

void describe(QCommandLineParser &parser, const Options &options)
{
    parser.setApplicationDescription(
        Request::tr("블랙박스 메모리 카드 이미지와 녹화 파일을 창 없이 다룹니다.\n\n"
                    "  vornex-cli list IMAGE [--json]\n"
                    "  vornex-cli extract IMAGE PATH TARGET [--force]\n"
                    "  vornex-cli repair RECORDING OUTPUT [--force]\n"
                    "  vornex-cli settings [--ini FILE] [--cfg FILE] [--reset] "
                    "[--set FIELD=VALUE ...]\n"
                    "                      [--save FILE [--force]]\n"
                    "  vornex-cli telemetry RECORDING [--duration SECONDS]\n"
                    "                       [--format json|location|gsensor|gpx|csv]"));
    parser.addOptions({options.json, options.verbose, options.force, options.duration, options.format,
                       options.ini, options.cfg, options.reset, options.set, options.save});
    parser.addPositionalArgument(QStringLiteral("list|extract|repair|settings|telemetry"),
                                 Request::tr("할 일"));
    parser.addPositionalArgument(QStringLiteral("IMAGE|RECORDING"),
                                 Request::tr("카드 이미지 파일, 또는 녹화 파일"));
    parser.addPositionalArgument(QStringLiteral("PATH"),
                                 Request::tr("카드 안의 경로 (예: mov/event/E_20240309_170559.mp4)"),
                                 QStringLiteral("[PATH]"));
    parser.addPositionalArgument(QStringLiteral("TARGET|OUTPUT"), Request::tr("만들 파일"),
                                 QStringLiteral("[TARGET|OUTPUT]"));
}

/// An option that wasn't given is empty.
Request telemetryRequest(const QString &recording, const QString &duration, const QString &format)
{
    Request request;
    request.telemetry.recording = recording;
    if (!duration.isEmpty()) {
        bool isNumber = false;
        const double seconds = duration.toDouble(&isNumber);
        if (!isNumber || !std::isfinite(seconds) || seconds < 0)
            return answerOnly(ExitStatus::Usage,
                              Request::tr("%1: 초를 나타내는 수가 아닙니다.").arg(duration));
        request.telemetry.durationSeconds = seconds;
    }
    const auto named = telemetryFormat(format.isEmpty() ? QStringLiteral("json") : format);
    if (!named)
        return answerOnly(ExitStatus::Usage, Request::tr("%1: 알 수 없는 형식입니다.").arg(format));
    request.telemetry.format = *named;
    return request;
}

Request requestOf(Command command, const QCommandLineParser &parser, const Options &options)
{
    const QStringList words = parser.positionalArguments();
    const auto existing =
        parser.isSet(options.force) ? TargetFile::Existing::Replace : TargetFile::Existing::Keep;
    Request request;
    switch (command) {
    case Command::List: request.image = words[1]; break;
    case Command::Extract:
        request.image = words[1];
        request.cardPath = words[2];
        request.target = words[3];
        request.existing = existing;
        break;
    case Command::Repair: request.repair = {words[1], words[2], existing}; break;
    case Command::Telemetry:
        request = telemetryRequest(words[1], parser.value(options.duration), parser.value(options.format));
        break;
    case Command::Settings:
        request.settings = {parser.value(options.ini),   parser.value(options.cfg),
                            parser.isSet(options.reset), parser.values(options.set),
                            parser.value(options.save),  existing};
        break;
    }
    request.command = command;
    request.isJson = parser.isSet(options.json);
    request.isVerbose = parser.isSet(options.verbose);
    return request;
}

} // namespace

Request Request::parse(const QStringList &arguments)
{
    const Options options;
    QCommandLineParser parser;
    describe(parser, options);
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    if (!parser.parse(arguments))
        return answerOnly(ExitStatus::Usage, parser.errorText());
    if (parser.isSet(help))
        return answerOnly(ExitStatus::Whole, parser.helpText() + exitStatusHelp());
    if (parser.isSet(version)) {
        return answerOnly(ExitStatus::Whole,
                          QStringLiteral("vornex-cli %1 (%2)").arg(shortVersion(), buildVersion()));
    }
    const std::optional<Command> command = commandOf(parser, options);
    if (!command)
        return answerOnly(ExitStatus::Usage, tr("잘못된 명령입니다. vornex-cli --help를 보십시오."));
    return requestOf(*command, parser, options);
}
