#pragma once

#include "trackreader.h"

/// Opens libavcodec's decoder for a track. Without a result, error tells why. Any thread.
[[nodiscard]] CodecPtr openDecoder(const TrackReader &reader, MovieError *error);
