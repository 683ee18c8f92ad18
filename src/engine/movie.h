#pragma once

#include "movieerror.h"
#include "trackinfo.h"
#include "trackplayer.h"

#include <functional>
#include <QCoroTask>
#include <QString>

/// A player, or the reason why there is none.
struct MadePlayer {
    TrackPlayerPtr player;
    MovieError error;
};

/// A movie file that was opened once. All its players read through descriptors opened with it, so the file
/// may be deleted or replaced while they play. Main thread.
class Movie
{
public:
    virtual ~Movie() = default;
    [[nodiscard]] virtual QList<TrackInfo> tracks() const = 0;
    virtual QCoro::Task<MadePlayer> makePlayer(TrackInfo track) = 0;
};

/// A movie, or the reason why there is none.
struct OpenedMovie {
    std::shared_ptr<Movie> movie;
    MovieError error;
};
/// Opens a movie off the main thread.
using MovieOpener = std::function<QCoro::Task<OpenedMovie>(QString path)>;
