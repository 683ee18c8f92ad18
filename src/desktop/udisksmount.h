#pragma once

#include <QCoroTask>
#include <QString>

/// Asks UDisks2 on the system bus to mount the first FAT volume of the disk, without any dialog. Only a FAT
/// volume: mounting the camera's own file system would write to it. Empty on success, else what went wrong.
QCoro::Task<QString> mountFatVolumeOf(QString diskPath);
