#pragma once

#include "indextables.h"
#include "unitsearch.h"

/// Whether the index tells of this recording as it is: as far as the file goes its samples begin with the
/// lengths of units, and hardly a unit stands outside of them. A short one of an earlier attempt isn't.
[[nodiscard]] bool isTrustworthy(Bytes bytes, const std::vector<IndexTrack> &tracks,
                                 const Landmarks &landmarks);

/// Units, channels and sound as a trustworthy index tells of them; samples that are damaged are left out.
[[nodiscard]] Findings findingsOf(Bytes bytes, const std::vector<IndexTrack> &tracks,
                                  const std::vector<ChannelRequest> &requests);
