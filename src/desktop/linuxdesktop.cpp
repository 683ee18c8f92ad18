#include "linuxdesktop.h"

#include "mountedvolumelist.h"
#include "pkexecconsent.h"
#include "toollookup.h"
#include "udevdiskwatcher.h"

std::unique_ptr<Desktop> makeLinuxDesktop()
{
    auto desktop = std::make_unique<Desktop>();
    desktop->diskWatcher = std::make_unique<UdevDiskWatcher>();
    desktop->volumeList = std::make_unique<MountedVolumeList>();
    desktop->consent = std::make_unique<PkexecConsent>();
    desktop->bundledTool = findBundledTool;
    desktop->diskSpace = diskSpaceOf;
    return desktop;
}
