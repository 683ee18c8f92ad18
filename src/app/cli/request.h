#pragma once

#include "outcome.h"
#include "repaircommand.h"
#include "settingscommand.h"
#include "telemetrycommand.h"

#include <optional>
#include <QCoreApplication>
#include <QStringList>

/// What the user asked for.
struct Request {
    Q_DECLARE_TR_FUNCTIONS(Request)
public:
    enum class Command { List, Extract, Repair, Settings, Telemetry };

    Command command = Command::List;
    QString image;
    QString cardPath; ///< Extract: such as "mov/event/E_20240309_170559.mp4"
    QString target; ///< Extract: the file to make
    TargetFile::Existing existing = TargetFile::Existing::Keep; ///< Extract
    RepairRequest repair; ///< Repair
    SettingsRequest settings; ///< Settings
    TelemetryRequest telemetry; ///< Telemetry
    bool isJson = false;
    bool isVerbose = false;
    std::optional<Outcome> answer; ///< set: nothing is to be done but to say this

    /// arguments begins with the program's name; needs an application object.
    [[nodiscard]] static Request parse(const QStringList &arguments);
};
