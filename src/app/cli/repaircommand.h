#pragma once

#include "targetfile.h"

#include <QCoroTask>

class QIODevice;

/// A recording file that lies on the computer, to be made playable.
struct RepairRequest {
    QString recording; ///< path; the file is only read
    QString target; ///< the MP4 to make
    TargetFile::Existing existing = TargetFile::Existing::Keep;
};

/// Takes the recording the way of the viewer: a copy if it is sound, else what can be found in it, with AAC
/// sound. Tells what was found and lost in each channel. The target is whole or as it was before.
QCoro::Task<Outcome> repair(RepairRequest request, QIODevice *results);
