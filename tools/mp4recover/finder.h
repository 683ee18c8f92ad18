#pragma once

#include "reading/findings.h"
#include "reading/unitsearch.h"

/// Finds what is left of a recording: its pictures by channel, its sound, its clock. Without requests the
/// channel description among the telemetry tells the channels, else the parameter sets. Decodes nothing.
/// Total for any bytes; the time is linear in the file's size but for sorting within small parts of it.
[[nodiscard]] Findings findRecording(const MappedFile &file, const std::vector<ChannelRequest> &requests,
                                     const Progress &progress);
