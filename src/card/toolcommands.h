#pragma once

#include "media/mediadata.h"

#include <QString>

/// The command lines of the tools, for Shell. toolFolder ends in "/". What stands in single quotes may hold
/// any character; what doesn't has to be a plain word to the shell, which the callers see to.
namespace toolcommands {

/// Where the card's ext4 file system begins on its device, in bytes: 100 MiB.
inline constexpr qint64 ext4Offset = 104857600;

[[nodiscard]] QString list(const QString &toolFolder, const QString &device, const QString &cardPath);
[[nodiscard]] QString extract(const QString &toolFolder, const QString &device, const QString &cardPath,
                              const QString &target);
[[nodiscard]] QString remux(const QString &toolFolder, const QString &source, const QString &target);
[[nodiscard]] QString convertAudio(const QString &toolFolder, const QString &source, const QString &target);
[[nodiscard]] QString extractChannelWithAudio(const QString &toolFolder, const QString &source, int index,
                                              const QString &target);
[[nodiscard]] QString extractChannel(const QString &toolFolder, const QString &source, int index,
                                     const QString &target);
[[nodiscard]] QString recover(const QString &toolFolder, const QString &source, const QString &target,
                              const QList<VideoChannel> &channels);
[[nodiscard]] QString mergeAudio(const QString &toolFolder, const QString &video, const QString &sound,
                                 const QString &target);

} // namespace toolcommands
