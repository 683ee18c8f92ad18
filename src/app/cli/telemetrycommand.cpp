#include "telemetrycommand.h"

#include "engine/moviefile.h"
#include "media/embeddeddata.h"
#include "media/mediadataviewmodel.h"
#include "telemetryformats.h"

#include <algorithm>
#include <array>
#include <QCoreApplication>
#include <QFileInfo>
#include <QIODevice>
#include <QJsonDocument>

namespace {

constexpr std::array<std::pair<QStringView, TelemetryFormat>, 5> formatNames{{
    {u"json", TelemetryFormat::Json},
    {u"location", TelemetryFormat::Location},
    {u"gsensor", TelemetryFormat::GSensor},
    {u"gpx", TelemetryFormat::Gpx},
    {u"csv", TelemetryFormat::Csv},
}};

QString tr(const char *text) { return QCoreApplication::translate("Telemetry", text); }

/// In seconds; 0 if the movie can't be opened or doesn't tell.
QCoro::Task<double> durationOf(QString path)
{
    const OpenedMovie opened = co_await openMovie(path);
    if (!opened.movie)
        co_return 0.0;
    for (const TrackInfo &track : opened.movie->tracks()) {
        if (track.kind == TrackKind::Video)
            co_return track.durationSeconds;
    }
    co_return 0.0;
}

QByteArray resultOf(TelemetryFormat format, const QJsonArray &records, const MediaDataViewModel &data)
{
    switch (format) {
    case TelemetryFormat::Json: return telemetryformats::json(records, data);
    case TelemetryFormat::Location: return data.locationText().toUtf8();
    case TelemetryFormat::GSensor: return data.gSensorText().toUtf8();
    case TelemetryFormat::Gpx: return telemetryformats::gpx(data.events());
    case TelemetryFormat::Csv: return telemetryformats::csv(data);
    }
    return {};
}

} // namespace

std::optional<TelemetryFormat> telemetryFormat(const QString &name)
{
    for (const auto &[word, format] : formatNames) {
        if (name == word)
            return format;
    }
    return std::nullopt;
}

QCoro::Task<Outcome> tellTelemetry(TelemetryRequest request, QIODevice *results)
{
    const QFileInfo file(request.recording);
    if (!file.isFile() || !file.isReadable())
        co_return Outcome{ExitStatus::NotFound,
                          tr("%1: 녹화 파일을 읽을 수 없습니다.").arg(request.recording)};
    double duration = request.durationSeconds.value_or(0);
    if (!request.durationSeconds)
        duration = co_await durationOf(request.recording);

    const QJsonArray records = parseMediaData(request.recording);
    MediaDataViewModel data;
    const QString error = data.load(QString::fromUtf8(QJsonDocument(records).toJson()), duration);
    if (!error.isEmpty())
        co_return Outcome{ExitStatus::NotFound, request.recording + QStringLiteral(": ") + error};
    Outcome outcome = deliver(results, resultOf(request.format, records, data));
    if (outcome.isWhole() && !request.durationSeconds && !(duration > 0)) {
        outcome = {ExitStatus::Incomplete,
                   tr("영상의 길이를 알 수 없어 0초로 계산했습니다. --duration으로 지정하십시오.")};
    }
    co_return outcome;
}
