#pragma once

#include "settingsviewmodel.h"

#include <QQmlEngine>

/// Makes the form's state known to QML.
struct SettingsViewModelForQml {
    Q_GADGET
    QML_FOREIGN(SettingsViewModel)
    QML_NAMED_ELEMENT(SettingsViewModel)
    QML_UNCREATABLE("made with the settings window")
};

/// QML reads the form's 64-bit integers as numbers by itself; its linter wants to have heard of their type.
struct Int64ForQml {
    Q_GADGET
    QML_FOREIGN(qlonglong)
    QML_ANONYMOUS
};
