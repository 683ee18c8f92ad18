#pragma once

#include "reading/accessunits.h"
#include "reading/findings.h"

/// The channels that were asked for, with the sizes of the parameter sets in the stream where those asked for
/// don't occur in it. Cameras tell of 1080 lines where 1088 are coded, and some tell of a size that isn't
/// recorded.
[[nodiscard]] std::vector<ChannelRequest> withRecordedSizes(std::vector<ChannelRequest> requests,
                                                            const AccessUnits &found);
