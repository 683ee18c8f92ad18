#pragma once

#include "targetfile.h"

#include <QString>
#include <QStringList>

class QIODevice;

/// What is to be done with a camera's settings files, in this order.
struct SettingsRequest {
    QString ini; ///< file to read as bbox.ini; empty: none
    QString cfg; ///< file to read as bbox.cfg; empty: none
    bool isReset = false; ///< to the factory values of ini
    QStringList assignments; ///< each FIELD=VALUE
    QString target; ///< file to save as bbox.cfg; empty: none. May be `cfg` itself
    TargetFile::Existing existing = TargetFile::Existing::Keep;
};

/// Does it, and writes all fields as one JSON object. Nothing is saved unless every step before succeeded.
[[nodiscard]] Outcome carryOut(const SettingsRequest &request, QIODevice *results);
