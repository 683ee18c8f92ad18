#pragma once

#include "administratorconsent.h"

/// Asks the administrator through polkit's pkexec. From an installed package a helper of root's own does the
/// work; from an unpacked build two commands do, and the dialog can't say what for. A program that runs as
/// root asks nobody.
class PkexecConsent : public AdministratorConsent
{
public:
    QCoro::Task<QString> makeSetUserIdRoot(QString toolPath) override;

    struct Command {
        QString program; ///< empty if pkexec is missing
        QStringList arguments;
    };
    /// helper: the installed vornex-authorize, empty if there is none.
    [[nodiscard]] static Command commandFor(const QString &toolPath, const QString &helper);
};

/// Gives the file to root and sets its set-user-ID bit. Empty on success, else the system's reason. For a
/// process that runs as root.
[[nodiscard]] QString setUserIdRoot(const QString &toolPath);
