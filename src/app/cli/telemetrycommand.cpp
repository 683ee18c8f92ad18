#include "telemetrycommand.h"

#include "engine/moviefile.h"
#include "media/embeddeddata.h"
#include "media/mediadataviewmodel.h"
#include "telemetryformats.h"

#include <algorithm>
#include <array>
#include <QCoreApplication>
#include <QFileInfo>

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

void write(TelemetryFormat format, const MediaDataViewModel &data, QIODevice *target)
{
    switch (format) {
    case TelemetryFormat::Json: return telemetryformats::json(data, target);
    case TelemetryFormat::Location: target->write(data.locationText().toUtf8()); return;
    case TelemetryFormat::GSensor: target->write(data.gSensorText().toUtf8()); return;
    case TelemetryFormat::Gpx: return telemetryformats::gpx(data.events().positions, target);
    case TelemetryFormat::Csv: return telemetryformats::csv(data, target);
    }
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

    ParsedMediaData parsed = parseMediaData(request.recording);
    if (!parsed.error.isEmpty())
        co_return Outcome{ExitStatus::NotFound, request.recording + QStringLiteral(": ") + parsed.error};
    MediaDataViewModel data;
    data.load(std::move(parsed.records), duration);
    Delivery delivery(results);
    write(request.format, data, &delivery);
    Outcome outcome = delivery.end();
    if (outcome.isWhole() && !request.durationSeconds && !(duration > 0)) {
        outcome = {ExitStatus::Incomplete,
                   tr("영상의 길이를 알 수 없어 0초로 계산했습니다. --duration으로 지정하십시오.")};
    }
    co_return outcome;
}
