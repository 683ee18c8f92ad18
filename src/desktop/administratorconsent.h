#pragma once

#include <QCoroTask>
#include <QString>

/// Makes a tool in a folder of the user's a set-user-ID program of root, with the administrator's consent.
class AdministratorConsent
{
public:
    virtual ~AdministratorConsent() = default;
    /// Completes with the empty text on success, else with what went wrong, also when the user refused. Main
    /// thread.
    virtual QCoro::Task<QString> makeSetUserIdRoot(QString toolPath) = 0;
};
