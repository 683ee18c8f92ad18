#pragma once

#include <QCoroTask>
#include <QString>

/// Makes a tool in a folder of the user's a set-user-ID program of root, with the administrator's consent.
class AdministratorConsent
{
public:
    virtual ~AdministratorConsent() = default;
    /// Whether a tool has to be one to read what this desktop calls a card.
    [[nodiscard]] virtual bool isNeeded() const { return true; }
    /// Completes with the empty text on success, else with what went wrong, also when the user refused. Main
    /// thread.
    virtual QCoro::Task<QString> makeSetUserIdRoot(QString toolPath) = 0;
};
