#pragma once

/// The first thing that the process does: from now on it acts as its caller, whatever rights wait. The
/// standard descriptors are open and no others are, the environment is empty, no core is dumped, files are
/// private, signals and timers are in their initial state. Ends the process where the caller's limits leave
/// too little to work with.
void prepareProcess();

/// Whether the set-user-ID bit gave this process rights that its caller doesn't have. Throws Failure
/// (`Internal`) if it has others than root's: it isn't installed as it should be.
[[nodiscard]] bool hasBorrowedRights();

/// While one lives the process acts as root. Only where there are borrowed rights.
class BorrowedRights
{
public:
    BorrowedRights(); ///< throws Failure (`Internal`)
    ~BorrowedRights();
    BorrowedRights(const BorrowedRights &) = delete;
    BorrowedRights &operator=(const BorrowedRights &) = delete;
};

/// Becomes the caller for good and makes sure that there is no way back. Throws Failure (`Internal`).
void dropPrivileges();
