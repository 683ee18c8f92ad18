#pragma once

#include "hostclock.h"
#include "movie.h"

/// How many tracks of each kind a movie file has.
struct TrackCounts {
    int video = 0;
    int audio = 0;
    QString error; ///< empty, or why the file can't be opened
};

/// Opens a movie file: MP4 and its kin, or Matroska. Its players decode each in a
/// thread of its own and run on one timeline. Call from the main thread.
QCoro::Task<OpenedMovie> openMovie(QString path);
/// The same on other clocks, one per movie.
MovieOpener movieOpener(HostClockMaker makeClock);

/// Without making players. Call from the main thread.
QCoro::Task<TrackCounts> countTracks(QString path);
