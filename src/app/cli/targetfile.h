#pragma once

#include "outcome.h"
#include "workfolder.h"

#include <optional>
#include <QFileInfo>

/// The file that a command makes. It is written in a hidden folder beside its place and takes the place in
/// one step, once it is whole and on the disk. Main thread.
class TargetFile
{
public:
    enum class Existing { Replace, Keep }; ///< what becomes of a file that is there

    /// The sources are files that the command reads: none of them is replaced, under whatever name.
    TargetFile(const QString &path, Existing existing, QStringList sources);
    /// Why the file can't be made there, if so; else makes the folder.
    [[nodiscard]] Outcome prepare();

    [[nodiscard]] QString path() const { return m_place.filePath(); }
    [[nodiscard]] bool exists() const { return QFileInfo::exists(path()); }
    [[nodiscard]] QString workPath(const QString &name) const; ///< of a file in the folder
    /// Moves a file of the folder to the place.
    [[nodiscard]] Outcome takePlace(const QString &file) const;

private:
    QFileInfo m_place;
    Existing m_existing;
    QStringList m_sources;
    std::optional<WorkFolder> m_folder;
};
