#pragma once

#include "administratorconsent.h"

#include <QString>
#include <QStringList>

/// Asks the administrator through polkit's pkexec. From an installed package a helper of root's own does the
/// work; from an unpacked build two commands do, and the dialog can't say what for. A program that runs as
/// root asks nobody.
class PkexecConsent : public AdministratorConsent
{
public:
    /// helper: an installed vornex-authorize, empty if there is none.
    PkexecConsent(bool runsAsRoot, QString helper);
    /// For this process, with the helper that it was installed with.
    PkexecConsent();
    QCoro::Task<QString> makeSetUserIdRoot(QString toolPath) override;

private:
    [[nodiscard]] QStringList argumentsFor(const QString &toolPath) const;

    bool m_runsAsRoot;
    QString m_helper;
};

/// Gives the file to root and sets its set-user-ID bit. Empty on success, else the system's reason. For a
/// process that runs as root.
[[nodiscard]] QString setUserIdRoot(const QString &toolPath);
