#pragma once

#include "card/processmanager.h"
#include "card/sdmanager.h"
#include "desktop/desktop.h"
#include "outcome.h"
#include "targetfile.h"
#include "workfolder.h"

#include <memory>
#include <optional>

/// A card image, read with the viewer's own operations, in a home of its own (see WorkFolder::makeHome()).
/// Main thread.
class CardImage
{
public:
    explicit CardImage(const QString &path);
    CardImage(const CardImage &) = delete;
    CardImage &operator=(const CardImage &) = delete;
    ~CardImage();

    /// Sets the tools up and puts the card in.
    QCoro::Task<Outcome> open();

    struct Listing {
        FileList recordings; ///< newest first; all that could be read
        int recordedChannelCount = 0;
        Outcome outcome;
    };
    QCoro::Task<Listing> list();

    /// Extracts a file of the card, such as "mov/event/E_20240309_170559.mp4". A file that is there is
    /// replaced by a whole result alone, and if it may be.
    QCoro::Task<Outcome> extract(QString cardPath, QString path, TargetFile::Existing existing);

private:
    struct ToolResult {
        int status = 0; ///< ext4util's
        QString messages; ///< its own, one a line
    };
    QCoro::Task<ToolResult> runTool(QString command);
    QCoro::Task<Outcome> checkFolders();

    QString m_path;
    std::unique_ptr<WorkFolder> m_home;
    std::unique_ptr<Desktop> m_desktop;
    std::unique_ptr<ProcessManager> m_manager;
    std::unique_ptr<SDManager> m_sdManager;
};
