#pragma once

#include <optional>
#include <QString>

/// Values of the whole process, each with one writer. Main thread, except tempRoot().
namespace processvalues {

/// The card's raw device, such as /dev/sdb; none when no card is there. Only SDManager writes it.
[[nodiscard]] std::optional<QString> cardDevicePath();
void setCardDevicePath(std::optional<QString> path);

/// Number of channels that the camera records with, 0 until a card told it. Only ProcessManager writes it.
[[nodiscard]] int recordedChannelCount();
void setRecordedChannelCount(int count);

/// The private folder of all extracted data, made on first use, with a trailing "/". Its path is one plain
/// word to a shell. Any thread.
[[nodiscard]] const QString &tempRoot();

/// What tempRoot() is made by: cacheFolder + "/" + name, or where that can't be had or isn't a plain word,
/// sharedFolder + "/" + name-uid, or where somebody else sits there, a folder of a name never used before.
/// Open to its owner only in each case. If there is no place at all, a path under which nothing can ever be:
/// an empty one would make "mov" a folder of the current directory.
[[nodiscard]] QString makeTempRoot(const QString &cacheFolder, const QString &sharedFolder,
                                   const QString &name);

} // namespace processvalues
