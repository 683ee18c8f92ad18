#include "repairfiles.h"

RepairFiles::RepairFiles(const QString &video)
{
    const QString stem = video.chopped(QStringView(u".mp4").size());
    sound = stem + QStringLiteral(".mp3");
    joined = stem + QStringLiteral(".mkv");
    source = stem + QStringLiteral("2.mp4");
    converted = stem + QStringLiteral("3.mp4");
}
