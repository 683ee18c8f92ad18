#pragma once

#include <functional>
#include <optional>
#include <QString>

class ProcessManager;

/// Where a camera's settings files are read, and where they are written.
struct SettingsFiles {
    std::function<std::optional<QString>(const QString &name)> readConfig; ///< what the camera itself keeps
    std::function<std::optional<QString>(const QString &name)> readSDCard; ///< on the card's volume
    std::function<void(const QString &name, const QString &text)> saveToSDCard;
};

/// Those of the card that is in. The manager has to outlive them.
[[nodiscard]] SettingsFiles settingsFilesOf(ProcessManager &manager);
