#include "multitrackplayer.h"

#include "common/log.h"
#include "common/preferences.h"
#include "common/task.h"

#include <algorithm>
#include <cmath>
#include <QPointer>
#include <QQmlEngine>

namespace {

constexpr double ticksPerSecond = 600; // what positions are rounded to before they go to the players

double onTick(double seconds) { return std::round(seconds * ticksPerSecond) / ticksPerSecond; }

/// Anything that is no number counts as 0.
double clamped(double value, double highest) { return value > 0 ? std::min(value, highest) : 0; }

QList<TrackInfo> tracksOf(const Movie &movie, TrackKind kind)
{
    QList<TrackInfo> found = movie.tracks();
    found.removeIf([kind](const TrackInfo &track) { return track.kind != kind; });
    return found;
}

} // namespace

MultiTrackPlayer::MultiTrackPlayer(MovieOpener open, Preferences &preferences, QObject *parent)
    : QObject(parent)
    , m_open(std::move(open))
    , m_preferences(preferences)
{
}

QObjectList MultiTrackPlayer::videoPlayerObjects() const
{
    QObjectList objects;
    for (const TrackPlayerPtr &player : m_videoPlayers)
        objects.append(player.get());
    return objects;
}

void MultiTrackPlayer::clearVideoPlayers()
{
    dropObservers();
    if (m_videoPlayers.isEmpty())
        return;
    // The list is empty before the players go, so that no view is told of one that is half gone.
    const TrackPlayerList dropped = std::exchange(m_videoPlayers, {});
    Q_EMIT videoPlayersChanged();
}

QCoro::Task<std::optional<QString>> MultiTrackPlayer::loadTracks(QUrl url)
{
    const QPointer<MultiTrackPlayer> self(this);
    const QString path = url.toLocalFile();
    const OpenedMovie opened = co_await m_open(path);
    if (!self)
        co_return QStringLiteral("The player is gone");
    if (!opened.movie)
        co_return opened.error;

    setCurrentTime(0);
    m_jumpCount++;
    clearVideoPlayers();
    m_audioPlayer.reset();
    TrackPlayerList videos; // whole, whatever becomes of the published list meanwhile
    for (const TrackInfo &track : tracksOf(*opened.movie, TrackKind::Video)) {
        if (videos.size() == maximumChannels)
            break;
        const TrackPlayerPtr player = co_await makeTrackPlayer(opened.movie, track);
        if (!self)
            co_return QStringLiteral("The player is gone");
        if (player) {
            videos.append(player);
            m_videoPlayers = videos;
            Q_EMIT videoPlayersChanged();
        }
    }
    const QList<TrackInfo> sounds = tracksOf(*opened.movie, TrackKind::Audio);
    if (!sounds.isEmpty()) {
        const TrackInfo sound = sounds.first();
        const TrackPlayerPtr player = co_await makeTrackPlayer(opened.movie, sound);
        if (!self)
            co_return QStringLiteral("The player is gone");
        m_audioPlayer = player;
    }
    observeFirstPlayer();
    setVolume(m_preferences.volume());
    co_return std::nullopt;
}

QCoro::Task<TrackPlayerPtr> MultiTrackPlayer::makeTrackPlayer(std::shared_ptr<Movie> movie, TrackInfo track)
{
    const MadePlayer made = co_await movie->makePlayer(track);
    if (!made.player && !made.error.isEmpty())
        logLine(QStringLiteral("Failed to insert track: ") + made.error);
    if (made.player)
        QQmlEngine::setObjectOwnership(made.player.get(), QQmlEngine::CppOwnership);
    co_return made.player;
}

void MultiTrackPlayer::observeFirstPlayer()
{
    dropObservers();
    m_hasEnded = false;
    if (m_videoPlayers.isEmpty())
        return;
    const TrackPlayer *first = m_videoPlayers.first().get();
    setDuration(first->durationSeconds());
    m_timeObserver = connect(first, &TrackPlayer::positionReported, this, [this](double seconds) {
        startTask(this, [this, seconds, jump = m_jumpCount] {
            if (jump == m_jumpCount)
                applyReport(seconds);
        });
    });
    m_endObserver = connect(first, &TrackPlayer::ended, this, &MultiTrackPlayer::playbackDidFinish);
}

void MultiTrackPlayer::dropObservers()
{
    disconnect(m_timeObserver);
    disconnect(m_endObserver);
}

void MultiTrackPlayer::applyReport(double seconds)
{
    if (m_isScrubbing || m_hasEnded || !(m_duration > 0))
        return;
    setCurrentTime(seconds);
    setProgress(seconds / m_duration);
}

void MultiTrackPlayer::playbackDidFinish()
{
    m_jumpCount++;
    m_hasEnded = true;
    setProgress(1.0);
    setPlayState(false, false);
    if (onPlaybackEnded)
        onPlaybackEnded();
}

/// Video players in list order, then the sound.
template <typename Command> void MultiTrackPlayer::command(Command send) const
{
    // Holds the players: what a command sets off may change the list.
    TrackPlayerList players = m_videoPlayers;
    if (m_audioPlayer)
        players.append(m_audioPlayer);
    for (const TrackPlayerPtr &player : std::as_const(players))
        send(*player);
}

void MultiTrackPlayer::play()
{
    command([](TrackPlayer &player) { player.play(); });
    setPlayState(true, false);
}

void MultiTrackPlayer::pause()
{
    command([](TrackPlayer &player) { player.pause(); });
    setPlayState(false, false);
}

void MultiTrackPlayer::stop()
{
    m_jumpCount++;
    m_hasEnded = false;
    command([](TrackPlayer &player) {
        player.pause();
        player.seek(0, SeekTolerance::Default);
    });
    setCurrentTime(0);
    setProgress(0);
    setPlayState(false, true);
}

void MultiTrackPlayer::seek(double progress)
{
    if (!(m_duration > 0))
        return;
    const double share = clamped(progress, 1.0);
    const double seconds = share * m_duration;
    seekPlayers(seconds);
    setCurrentTime(seconds);
    setProgress(share);
}

void MultiTrackPlayer::step(double offsetSeconds)
{
    if (!(m_duration > 0))
        return;
    const double seconds = clamped(m_currentTime + offsetSeconds, m_duration);
    seekPlayers(seconds);
    setCurrentTime(seconds);
}

void MultiTrackPlayer::seekPlayers(double seconds)
{
    m_jumpCount++;
    m_hasEnded = false;
    command([time = onTick(seconds)](TrackPlayer &player) { player.seek(time, SeekTolerance::Exact); });
}

void MultiTrackPlayer::setVolume(double level)
{
    const auto amplitude = static_cast<float>(clamped(level, 1.0));
    if (m_audioPlayer)
        m_audioPlayer->setVolume(amplitude);
    for (const TrackPlayerPtr &player : std::as_const(m_videoPlayers))
        player->setVolume(amplitude);
}

void MultiTrackPlayer::setPlayState(bool isPlaying, bool isStopped)
{
    if (m_isPlaying == isPlaying && m_isStopped == isStopped)
        return;
    m_isPlaying = isPlaying;
    m_isStopped = isStopped;
    Q_EMIT playStateChanged();
}

void MultiTrackPlayer::setProgress(double progress)
{
    if (m_progress == progress)
        return;
    m_progress = progress;
    Q_EMIT progressChanged();
}

void MultiTrackPlayer::setIsScrubbing(bool isScrubbing)
{
    if (m_isScrubbing == isScrubbing)
        return;
    m_isScrubbing = isScrubbing;
    Q_EMIT isScrubbingChanged();
}

void MultiTrackPlayer::setCurrentTime(double seconds)
{
    if (m_currentTime == seconds)
        return;
    m_currentTime = seconds;
    Q_EMIT currentTimeChanged();
}

void MultiTrackPlayer::setDuration(double seconds)
{
    if (m_duration == seconds)
        return;
    m_duration = seconds;
    Q_EMIT durationChanged();
}
