#pragma once

#include "sessionfolder.h"

#include <atomic>
#include <QCoroTask>
#include <QFuture>
#include <QString>
#include <QThreadPool>

/// Takes files and folders away at once, by a rename within their disk, and deletes them on a worker: giving
/// back the space of a long recording takes a while. Main thread.
class Trash
{
public:
    /// Works in a hidden folder, made when it is needed, of the one named, whose path ends in "/". What an
    /// earlier program left there is deleted.
    explicit Trash(const QString &parent);
    Trash(const Trash &) = delete;
    Trash &operator=(const Trash &) = delete;
    ~Trash(); ///< leaves what isn't deleted yet

    /// A file, a link (never what it points to) or a folder with its contents. A missing path is no failure.
    /// On another disk it blocks. Empty, or what went wrong.
    [[nodiscard]] QString discard(const QString &path);
    /// Removes what processes left that are gone.
    void remove(std::vector<SessionFolder> abandoned);
    /// Completes when the space of all that was discarded before is free.
    QCoro::Task<> emptied();

private:
    void empty();

    QString m_folder;
    std::atomic<bool> m_isEnding = false;
    QThreadPool m_worker;
    QFuture<void> m_lastWork;
};
