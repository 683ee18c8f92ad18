#pragma once

#include "common/filedescriptor.h"

#include <optional>
#include <QList>
#include <QString>
#include <vector>

/// A folder for what one process extracts and works on, open to its owner only. It is the process' own as
/// long as the object lives, by a lock on the mark that shows that the program made it: nothing is ever
/// deleted in a folder without it. Its path is one plain word to a shell and ends in "/".
class SessionFolder
{
public:
    /// Where such folders are made.
    struct Place {
        QString folder;
        QString name; ///< of the first one; others get "-" and something after it
    };

    /// The first folder of the first place where it can be had, which is one that somebody else's program
    /// left if there is one. If there is no place at all, a path under which nothing can ever be: an empty
    /// one would make "mov" a folder of the current directory.
    [[nodiscard]] static SessionFolder take(const QList<Place> &places);
    /// Those that were left by processes that are gone.
    [[nodiscard]] static std::vector<SessionFolder> takeAbandoned(const QList<Place> &places);
    /// The user's cache, and a shared folder if that can't be had.
    [[nodiscard]] static QList<Place> usualPlaces();

    [[nodiscard]] const QString &path() const { return m_path; }
    /// Removes the folder with its mark; whoever deletes its contents calls this last.
    void remove();

private:
    SessionFolder(QString path, FileDescriptor lock)
        : m_path(std::move(path))
        , m_lock(std::move(lock))
    {
    }
    [[nodiscard]] static std::optional<SessionFolder> open(const QString &path, bool mayMark);

    QString m_path;
    FileDescriptor m_lock;
};
