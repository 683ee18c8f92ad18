#pragma once

#include "videoframe.h"

#include <memory>
#include <QList>
#include <QObject>

enum class SeekTolerance {
    Exact, ///< the frame shown at exactly that time
    Default, ///< any frame near it that is quicker to reach
};

/// Plays one track of a movie, its start moved to 0. Commands and signals belong to the main thread.
class TrackPlayer : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;
    [[nodiscard]] virtual double durationSeconds() const = 0;
    virtual void play() = 0;
    virtual void pause() = 0;
    virtual void seek(double seconds, SeekTolerance tolerance) = 0;
    virtual void setVolume(float level) = 0; ///< linear amplitude from 0 to 1
    /// The picture to show now; none before the first one is decoded, and for sound. Any thread.
    [[nodiscard]] virtual VideoFramePtr latestFrame() const = 0;

Q_SIGNALS:
    /// Each 0.1 s while the time moves, and after each jump, start and stop.
    void positionReported(double seconds);
    /// Once for each time that the track has played to its end.
    void ended();
    /// latestFrame() has another picture.
    void frameChanged();
};
using TrackPlayerPtr = std::shared_ptr<TrackPlayer>;
using TrackPlayerList = QList<TrackPlayerPtr>;
