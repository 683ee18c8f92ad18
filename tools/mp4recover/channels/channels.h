#pragma once

#include "budget.h"
#include "reading/accessunits.h"
#include "reading/indextables.h"

/// Puts the pictures on the channels of the findings, in the order in which they were asked for: by their
/// headers, and by decoding where these leave it open. Without `asked` the recording tells how many channels
/// there are. The index' tracks may be wrong or another recording's, and their parameter sets right.
void findChannels(Bytes bytes, VideoCodec codec, const AccessUnits &found,
                  const std::vector<ChannelRequest> &asked, const std::vector<IndexTrack> &tracks,
                  Findings &findings, const Budget &budget);
