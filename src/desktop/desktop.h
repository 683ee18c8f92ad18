#pragma once

#include "administratorconsent.h"
#include "diskwatcher.h"
#include "volumelist.h"

#include <functional>
#include <memory>

/// Space of the file system that holds a folder, in bytes.
struct DiskSpace {
    quint64 available = 0;
    quint64 total = 0;
};

/// All that the program asks of the desktop. One is built at start and outlives every user of it.
struct Desktop {
    std::unique_ptr<DiskWatcher> diskWatcher;
    std::unique_ptr<VolumeList> volumeList;
    std::unique_ptr<AdministratorConsent> consent;
    /// Path of a helper tool as it came with the program, empty if it didn't.
    std::function<QString(const QString &tool)> bundledTool;
    std::function<DiskSpace(const QString &folder)> diskSpace;
};
