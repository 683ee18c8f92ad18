#pragma once

#include "engine/movie.h"

#include <functional>
#include <optional>
#include <QCoroTask>
#include <qqmlintegration.h>
#include <QUrl>

class Preferences;

/// Plays a recording as separate tracks: one player per video channel and one for the first sound track.
/// The channels keep in step by one rule: each command goes to every player, in list order, and each seek is
/// exact. The first video player stands for the whole recording: its position, its length, its end.
/// Main thread.
class MultiTrackPlayer : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("There is one, and the application's state owns it")
    Q_PROPERTY(QObjectList videoPlayerObjects READ videoPlayerObjects NOTIFY videoPlayersChanged FINAL)
    Q_PROPERTY(int videoPlayerCount READ videoPlayerCount NOTIFY videoPlayersChanged FINAL)
    Q_PROPERTY(double currentTime READ currentTime NOTIFY currentTimeChanged FINAL)
    Q_PROPERTY(double duration READ duration NOTIFY durationChanged FINAL)
    Q_PROPERTY(double progress READ progress WRITE setProgress NOTIFY progressChanged FINAL)
    Q_PROPERTY(bool isScrubbing READ isScrubbing WRITE setIsScrubbing NOTIFY isScrubbingChanged FINAL)
    Q_PROPERTY(bool isPlaying READ isPlaying NOTIFY playStateChanged FINAL)
    Q_PROPERTY(bool isStopped READ isStopped NOTIFY playStateChanged FINAL)
public:
    static constexpr int maximumChannels = 5;

    /// Both must outlive the player's last load.
    MultiTrackPlayer(MovieOpener open, Preferences &preferences, QObject *parent = nullptr);

    /// One per usable video track; the place in the list is the channel.
    [[nodiscard]] const TrackPlayerList &videoPlayers() const { return m_videoPlayers; }
    [[nodiscard]] QObjectList videoPlayerObjects() const;
    [[nodiscard]] int videoPlayerCount() const { return int(m_videoPlayers.size()); }
    /// A load that is under way gives up.
    void clearVideoPlayers();
    [[nodiscard]] TrackPlayerPtr audioPlayer() const { return m_audioPlayer; }

    [[nodiscard]] double currentTime() const { return m_currentTime; } ///< seconds
    [[nodiscard]] double duration() const { return m_duration; } ///< seconds; of the first channel
    [[nodiscard]] double progress() const { return m_progress; } ///< from 0 to 1
    void setProgress(double progress); ///< by the slider, while it is dragged; commands nothing
    [[nodiscard]] bool isScrubbing() const { return m_isScrubbing; }
    void setIsScrubbing(bool isScrubbing);
    /// A play command is in force. Never together with isStopped; paused and ended are neither.
    [[nodiscard]] bool isPlaying() const { return m_isPlaying; }
    /// Rewound by stop, or nothing was played yet.
    [[nodiscard]] bool isStopped() const { return m_isStopped; }

    std::function<void()> onPlaybackEnded; ///< the first channel reached its end

    /// Replaces the tracks by those of the movie and doesn't start them; all are published at once. What is
    /// commanded from when the former ones are gone reaches the new ones. Returns why if the movie can't be
    /// opened; the tracks stay then. A later load takes the place of one that is under way.
    QCoro::Task<std::optional<MovieError>> loadTracks(QUrl url);

    Q_INVOKABLE void play();
    Q_INVOKABLE void pause();
    Q_INVOKABLE void stop();
    Q_INVOKABLE void seek(double progress); ///< clamped; leaves the play state alone
    Q_INVOKABLE void step(double offsetSeconds);
    Q_INVOKABLE void setVolume(double level); ///< linear amplitude, clamped to 0 to 1; not stored

Q_SIGNALS:
    void videoPlayersChanged();
    void currentTimeChanged();
    void durationChanged();
    void progressChanged();
    void isScrubbingChanged();
    void playStateChanged();

private:
    struct Tracks {
        TrackPlayerList videos;
        TrackPlayerPtr audio;
    };
    /// What was commanded while there were no tracks to command.
    struct Deferred {
        bool plays;
        std::optional<double> progress;
    };
    static QCoro::Task<Tracks> makeTracks(std::shared_ptr<Movie> movie);
    static QCoro::Task<TrackPlayerPtr> makeTrackPlayer(std::shared_ptr<Movie> movie, TrackInfo track);
    void publish(Tracks tracks);
    void carryOutDeferred();
    void dropVideoPlayers();
    void observeFirstPlayer();
    void dropObservers();
    void applyReport(double seconds);
    void playbackDidFinish();
    void seekPlayers(double seconds);
    void setPlayState(bool isPlaying, bool isStopped);
    void setCurrentTime(double seconds);
    void setDuration(double seconds);
    template <typename Command> void command(Command send) const;

    MovieOpener m_open;
    Preferences &m_preferences;
    TrackPlayerList m_videoPlayers;
    TrackPlayerPtr m_audioPlayer;
    QMetaObject::Connection m_timeObserver;
    QMetaObject::Connection m_endObserver;
    quint64 m_loadNumber = 0; ///< of the newest load; raised to have it given up, too
    std::optional<Deferred> m_deferred; ///< while the newest load makes its tracks
    quint64 m_jumpCount = 0; ///< a report that was sent before the last jump is outdated
    bool m_hasEnded = false;
    double m_currentTime = 0;
    double m_duration = 0;
    double m_progress = 0;
    bool m_isScrubbing = false;
    bool m_isPlaying = false;
    bool m_isStopped = true;
};
