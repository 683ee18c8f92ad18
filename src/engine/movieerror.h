#pragma once

#include <QString>

/// Why a movie or a track can't be played.
struct MovieError {
    enum class Kind {
        None,
        Unreadable, ///< missing, forbidden, no regular file, or its medium fails
        NoMovie, ///< read, but not understood: something else, or damaged
        Unsupported, ///< understood, but there is no decoder
        Exhausted, ///< it would take too much memory or time
        Superseded, ///< another load has taken its place, or nothing is to be played any more
    };
    Kind kind = Kind::None;
    QString text;

    /// Of one of libav's negative results.
    static MovieError ofLibav(int result);
};
