#pragma once

#include "card/processmanager.h"
#include "card/sdmanager.h"
#include "desktop/desktop.h"
#include "outcome.h"

#include <memory>
#include <optional>
#include <QTemporaryDir>

/// A card image, read with the viewer's own operations. The tool copies and everything that is extracted stay
/// in a private folder that is removed at the end, so neither the user's tools nor a viewer that runs at the
/// same time are touched. At most one, made before anything asks for the process-wide folders. Main thread.
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

    /// Extracts a file of the card, such as "mov/event/E_20240309_170559.mp4". A target that is there is
    /// replaced by a whole result alone.
    QCoro::Task<Outcome> extract(QString cardPath, QString target);

private:
    struct ToolResult {
        int status = 0; ///< ext4util's
        QString messages; ///< its own, one a line
    };
    QCoro::Task<ToolResult> runTool(QString command);
    QCoro::Task<Outcome> checkFolders();

    QString m_path;
    std::unique_ptr<QTemporaryDir> m_privateFolder;
    std::unique_ptr<Desktop> m_desktop;
    std::unique_ptr<ProcessManager> m_manager;
    std::unique_ptr<SDManager> m_sdManager;
};
