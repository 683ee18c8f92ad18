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
    m_loadNumber++;
    m_deferred.reset();
    m_audioPlayer.reset(); // it would play on by itself
    dropVideoPlayers();
}

void MultiTrackPlayer::dropVideoPlayers()
{
    dropObservers();
    if (m_videoPlayers.isEmpty())
        return;
    // The list is empty before the players go, so that no view hears of one that is half gone.
    const TrackPlayerList dropped = std::exchange(m_videoPlayers, {});
    Q_EMIT videoPlayersChanged();
}

QCoro::Task<std::optional<MovieError>> MultiTrackPlayer::loadTracks(QUrl url)
{
    const QPointer<MultiTrackPlayer> self(this);
    const quint64 load = ++m_loadNumber;
    m_deferred.reset();
    const MovieError superseded{MovieError::Kind::Superseded, QStringLiteral("Nobody waits for it any more")};
    const QString path = url.toLocalFile();
    const OpenedMovie opened = co_await m_open(path);
    if (!self || m_loadNumber != load)
        co_return superseded;
    if (!opened.movie)
        co_return opened.error;

    setCurrentTime(0);
    m_jumpCount++;
    dropVideoPlayers();
    m_audioPlayer.reset();
    m_deferred.emplace();
    Tracks tracks = co_await makeTracks(opened.movie);
    if (!self || m_loadNumber != load)
        co_return superseded;
    publish(std::move(tracks));
    co_return std::nullopt;
}

QCoro::Task<MultiTrackPlayer::Tracks> MultiTrackPlayer::makeTracks(std::shared_ptr<Movie> movie)
{
    Tracks tracks;
    for (const TrackInfo &track : tracksOf(*movie, TrackKind::Video)) {
        if (tracks.videos.size() == maximumChannels)
            break;
        const TrackPlayerPtr player = co_await makeTrackPlayer(movie, track);
        if (player)
            tracks.videos.append(player);
    }
    const QList<TrackInfo> sounds = tracksOf(*movie, TrackKind::Audio);
    if (!sounds.isEmpty())
        tracks.audio = co_await makeTrackPlayer(movie, sounds.first());
    co_return tracks;
}

QCoro::Task<TrackPlayerPtr> MultiTrackPlayer::makeTrackPlayer(std::shared_ptr<Movie> movie, TrackInfo track)
{
    const MadePlayer made = co_await movie->makePlayer(track);
    if (!made.player && !made.error.text.isEmpty())
        logLine(QStringLiteral("Failed to insert track: ") + made.error.text);
    if (made.player)
        QQmlEngine::setObjectOwnership(made.player.get(), QQmlEngine::CppOwnership);
    co_return made.player;
}

void MultiTrackPlayer::publish(Tracks tracks)
{
    m_audioPlayer = std::move(tracks.audio);
    m_videoPlayers = std::move(tracks.videos);
    observeFirstPlayer();
    setVolume(m_preferences.volume());
    carryOutDeferred();
    if (!m_videoPlayers.isEmpty())
        Q_EMIT videoPlayersChanged();
}

void MultiTrackPlayer::carryOutDeferred()
{
    const Deferred deferred = std::exchange(m_deferred, std::nullopt).value_or(Deferred());
    if (deferred.progress)
        seek(*deferred.progress);
    if (deferred.plays)
        command([](TrackPlayer &player) { player.play(); });
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
    if (m_deferred)
        m_deferred->plays = true;
    setPlayState(true, false);
}

void MultiTrackPlayer::pause()
{
    command([](TrackPlayer &player) { player.pause(); });
    if (m_deferred)
        m_deferred->plays = false;
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
    if (m_deferred)
        m_deferred.emplace();
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
    if (m_deferred)
        m_deferred->progress = seconds / m_duration;
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
