#pragma once

#include "diskwatcher.h"

#include <optional>
#include <QHash>
#include <QString>
#include <QStringList>

/// Remembers per device whether it holds a medium, and tells what a new report of it means. A card reader
/// stays when its card goes: the kernel reports a change of it, with size 0.
class MediumTracker
{
public:
    /// A report of the system's, whether by an event or by looking.
    struct Report {
        DiskInfo disk;
        bool hasMedium = false;
        bool isMediumChange = false; ///< the event says that the medium was changed
        QString sequence; ///< differs for each medium put in; empty on kernels that don't tell
    };
    /// What to announce: first what went, then what came.
    struct Outcome {
        std::optional<QString> disappeared;
        std::optional<DiskInfo> appeared;
    };

    Outcome update(const Report &report);
    Outcome remove(const QString &devicePath);
    /// The devices that hold a medium.
    [[nodiscard]] QStringList presentDevices() const { return m_sequences.keys(); }

private:
    QHash<QString, QString> m_sequences; // by device path; only devices with a medium
};
