#pragma once

#include "failure.h"

#include <optional>
#include <QDateTime>

struct CardImageSetup {
    QString image; ///< file to make
    qint64 bytes = 0;
    bool isPartitioned = false; ///< one FAT partition in a table, else the FAT volume starts the card
    std::optional<QString> fatLabel; ///< none: a volume without a name
    std::uint32_t seed = 0; ///< for the serial numbers
    QDateTime made; ///< the time that both file systems tell
};

/// First byte of the ext4 side; before it lies the FAT volume.
inline constexpr qint64 ext4Offset = 104857600;

/// Makes the image, with an empty ext4 side, by the tools of e2fsprogs, dosfstools and fdisk.
[[nodiscard]] Failure makeCardImage(const CardImageSetup &setup);
