#pragma once

#include "common/filedescriptor.h"

#include <optional>
#include <QString>

/// Blocking file operations that report failure as a text, empty on success. Any thread.
namespace files {

/// Size in bytes of the item itself (a link isn't followed); 0 if it can't be told.
[[nodiscard]] quint64 size(const QString &path);
/// For reading. What isn't a regular file is refused, and never waited for.
struct OpenedFile {
    FileDescriptor file;
    QString error; ///< if the file isn't open
};
[[nodiscard]] OpenedFile openRegular(const QString &path);
/// With parents. Does nothing if anything is there already.
struct MadeFolder {
    bool isNew = false;
    QString error;
};
[[nodiscard]] MadeFolder makeFolder(const QString &path);
/// A file, a link (never what it points to) or a folder with its contents. A missing path is no failure.
[[nodiscard]] QString removeAll(const QString &path);

/// The target is removed first, even if the source then proves to be missing; a folder that isn't empty is no
/// target. A copy is whole or absent under its name.
[[nodiscard]] QString replaceByCopy(const QString &from, const QString &to);
[[nodiscard]] QString replaceByMove(const QString &from, const QString &to);

/// A text or the reason why there is none: what can't be read, isn't well-formed UTF-8, or is larger than any
/// text file of a camera. A leading byte order mark is left out.
struct ReadText {
    std::optional<QString> text;
    QString error;
};
[[nodiscard]] ReadText readText(const QString &path);

/// Puts the text into the place of the file in one step, once it is whole and on the disk, folder entry and
/// all. UTF-8. The earlier file survives every failure.
[[nodiscard]] QString saveText(const QString &path, const QString &text);

} // namespace files
