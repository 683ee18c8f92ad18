#pragma once

#include <QString>

/// A mounted file system of a removable disk.
struct Volume {
    QString name; ///< its label; "NO NAME" for a FAT volume without one
    QString rootPath; ///< without a trailing "/"
    QString devicePath; ///< such as /dev/sdb1; empty if unknown
};
