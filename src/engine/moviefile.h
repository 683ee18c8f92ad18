#pragma once

#include "hostclock.h"
#include "movie.h"

/// Opens a movie file: MP4 and its kin, or Matroska. Its players decode each in a
/// thread of its own and run on one timeline. Call from the main thread.
QCoro::Task<OpenedMovie> openMovie(QString path);
/// The same on other clocks, one per movie.
MovieOpener movieOpener(HostClockMaker makeClock);
