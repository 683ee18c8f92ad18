#pragma once

#include <functional>
#include <optional>
#include <QString>

/// How the form reaches a camera's settings files: those of a card, or others.
struct SettingsFiles {
    std::function<std::optional<QString>(const QString &name)> readConfig; ///< what the camera itself keeps
    std::function<std::optional<QString>(const QString &name)> readSDCard; ///< on the card's volume
    std::function<void(const QString &name, const QString &text)> saveToSDCard;
};
