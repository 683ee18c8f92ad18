#pragma once

#include "desktop/desktop.h"
#include "extraction.h"
#include "trash.h"

#include <functional>
#include <QCoroTask>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QStringList>

/// The card's files as they were extracted, each under its card path below one folder: the one owner of that
/// folder. It knows who extracts what, what lies there whole, what may be freed. Main thread.
class Mirror : public QObject
{
    Q_OBJECT
public:
    /// How the tool that copies one file from the card ended.
    struct ToolEnd {
        int status = 0;
        QString messages;
    };
    using Extractor = std::function<QCoro::Task<ToolEnd>(QString cardPath, QString target)>;
    using DiskSpaceOf = std::function<DiskSpace(const QString &folder)>;

    /// The folder's path ends in "/".
    Mirror(QString folder, Extractor extractor, DiskSpaceOf diskSpaceOf, QObject *parent = nullptr);

    /// What killed programs left here and in folders of their own.
    void clearLeftovers();
    /// A new card session: everything that was extracted goes, and what is still under way won't count.
    void clear();

    /// Waits for a running extraction of the same file. What lies there whole is not extracted again, nor
    /// what lies there at all and is in use. Frees what nobody wants if the disk is full. A listed size of 0
    /// is unknown.
    QCoro::Task<Extraction> extract(QString cardPath, quint64 listedSize);

    /// The recordings that play or are to be played next. They are never freed, and no tool writes over them.
    void setInUse(const QStringList &cardPaths);
    /// Frees recordings that nobody uses, those first that nobody asked for longest, until this many bytes
    /// fit. False if they don't.
    QCoro::Task<bool> makeRoom(quint64 bytes);
    /// Whether, after this many more bytes, enough is left for everything else that lives on the disk.
    [[nodiscard]] bool hasRoom(quint64 bytes) const;
    /// The disk's mount point.
    [[nodiscard]] QString disk() const;

    /// A file or a folder, anywhere. Returns at once; empty, or what went wrong.
    [[nodiscard]] QString discard(const QString &path) { return m_trash.discard(path); }
    /// Completes when the space of all that was discarded before is free.
    QCoro::Task<> emptied() { return m_trash.emptied(); }

Q_SIGNALS:
    void extractionEnded();
    void freed(const QString &cardPath); ///< a recording that was extracted doesn't lie there any more

private:
    struct Entry {
        Extraction last;
        quint64 use = 0; ///< raised by each request
    };

    QCoro::Task<Extraction> run(QString cardPath, quint64 listedSize);
    QCoro::Task<Extraction> runOnce(QString cardPath, quint64 listedSize);
    [[nodiscard]] std::optional<Extraction> known(const QString &cardPath) const;
    [[nodiscard]] QString fileOf(const QString &cardPath) const { return m_folder + cardPath; }
    [[nodiscard]] QStringList removable() const;
    [[nodiscard]] bool isFull(const ToolEnd &end, quint64 listedSize) const;

    QString m_folder;
    Extractor m_extractor;
    DiskSpaceOf m_diskSpaceOf;
    Trash m_trash;
    QHash<QString, Entry> m_entries; ///< by card path; of this session
    QSet<QString> m_running; ///< card paths, of any session
    QSet<QString> m_inUse;
    quint64 m_session = 0;
    quint64 m_uses = 0;
};
