#pragma once

/// The first thing that the process does: the standard descriptors are open and no others are, the
/// environment is empty, no core is dumped, files are private, signals and timers are in their initial state.
void prepareProcess();

/// Whether the set-user-ID bit gave this process rights that its caller doesn't have. Throws Failure
/// (`Internal`) if it has others than root's: it isn't installed as it should be.
[[nodiscard]] bool hasBorrowedRights();

/// While one lives the process acts as its caller, and can go back.
class CallerRights
{
public:
    CallerRights(); ///< throws Failure (`Internal`)
    ~CallerRights();
    CallerRights(const CallerRights &) = delete;
    CallerRights &operator=(const CallerRights &) = delete;
};

/// Becomes the caller for good and makes sure that there is no way back. Throws Failure (`Internal`).
void dropPrivileges();
