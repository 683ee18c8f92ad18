#pragma once

#include "media/mediadataviewmodel.h"

#include <QQmlEngine>

/// Makes the telemetry model, which knows nothing of QML, known there.
struct ForeignMediaDataViewModel {
    Q_GADGET
    QML_FOREIGN(MediaDataViewModel)
    QML_NAMED_ELEMENT(MediaDataViewModel)
    QML_UNCREATABLE("owned by the application's state")
};
