#pragma once

#include <memory>
#include <QTemporaryDir>

/// A private folder that goes with its owner. A task that is cut off never lets go of what it owns, so a
/// program that is told to end removes what is left with removeAll(). Main thread.
class WorkFolder
{
public:
    explicit WorkFolder(const QString &pathTemplate); ///< as QTemporaryDir takes it
    WorkFolder(const WorkFolder &) = delete;
    WorkFolder &operator=(const WorkFolder &) = delete;
    ~WorkFolder();

    /// One in which tools can work: no path in it needs quotes on a command line. It becomes the program's
    /// data, cache and run-time folder, so neither the user's tools nor a viewer that runs at the same time
    /// are touched. At most one, made before anything asks for the process-wide folders; none if there is no
    /// place for it.
    [[nodiscard]] static std::unique_ptr<WorkFolder> makeHome();

    [[nodiscard]] bool isValid() const { return m_folder.isValid(); }
    [[nodiscard]] QString errorString() const { return m_folder.errorString(); }
    [[nodiscard]] QString filePath(const QString &name) const { return m_folder.filePath(name); }

    static void removeAll();

private:
    QTemporaryDir m_folder;
};
