#pragma once

#include "common/task.h"
#include "engine/movie.h"

#include <QStringList>

/// A track player that plays nothing: it writes down what it was told ("video0 play", "audio0 seek 1.5
/// exact") in a log that all players of a movie share, and reports what the test makes it report.
class ScriptedTrackPlayer : public TrackPlayer
{
    Q_OBJECT
public:
    ScriptedTrackPlayer(QString name, double durationSeconds, std::shared_ptr<QStringList> log)
        : m_name(std::move(name))
        , m_durationSeconds(durationSeconds)
        , m_log(std::move(log))
    {
    }

    [[nodiscard]] double durationSeconds() const override { return m_durationSeconds; }
    void play() override { note(QStringLiteral("play")); }
    void pause() override { note(QStringLiteral("pause")); }
    void seek(double seconds, SeekTolerance tolerance) override
    {
        note(QStringLiteral("seek %1 %2")
                 .arg(seconds, 0, 'g', 12)
                 .arg(tolerance == SeekTolerance::Exact ? QStringLiteral("exact") : QStringLiteral("near")));
    }
    void setVolume(float level) override { note(QStringLiteral("volume %1").arg(level)); }
    [[nodiscard]] VideoFramePtr latestFrame() const override { return frame; }

    void report(double seconds) { Q_EMIT positionReported(seconds); }
    void end() { Q_EMIT ended(); }

    VideoFramePtr frame;

private:
    void note(const QString &command) const { m_log->append(m_name + u' ' + command); }

    QString m_name;
    double m_durationSeconds;
    std::shared_ptr<QStringList> m_log;
};

/// Tracks without a file: "video0", "video1", ... then "audio0", ... Those that are listed as broken give the
/// error told instead of a player.
class ScriptedMovie : public Movie
{
public:
    ScriptedMovie(const QList<double> &videoSeconds, const QList<double> &audioSeconds)
    {
        for (const double seconds : videoSeconds)
            addTrack(TrackKind::Video, seconds);
        m_videoCount = static_cast<int>(m_tracks.size());
        for (const double seconds : audioSeconds)
            addTrack(TrackKind::Audio, seconds);
    }

    [[nodiscard]] QList<TrackInfo> tracks() const override { return m_tracks; }
    QCoro::Task<MadePlayer> makePlayer(TrackInfo track) override
    {
        MadePlayer made;
        co_await sleepFor(openingTime);
        if (brokenTracks.contains(track.index))
            made.error = {MovieError::Kind::Unsupported, brokenTracks.value(track.index)};
        else
            made.player = std::make_shared<ScriptedTrackPlayer>(nameOf(track), track.durationSeconds, log);
        co_return made;
    }

    std::chrono::milliseconds openingTime{0}; ///< of each track
    std::shared_ptr<QStringList> log = std::make_shared<QStringList>();
    QHash<int, QString> brokenTracks; ///< index in the file -> the reason

private:
    void addTrack(TrackKind kind, double seconds)
    {
        TrackInfo track;
        track.index = static_cast<int>(m_tracks.size());
        track.kind = kind;
        track.durationSeconds = seconds;
        m_tracks.append(track);
    }

    [[nodiscard]] QString nameOf(const TrackInfo &track) const
    {
        return track.kind == TrackKind::Video ? QStringLiteral("video%1").arg(track.index)
                                              : QStringLiteral("audio%1").arg(track.index - m_videoCount);
    }

    QList<TrackInfo> m_tracks;
    int m_videoCount = 0;
};
