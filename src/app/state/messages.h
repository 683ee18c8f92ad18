#pragma once

#include <QString>

/// What the window says to its user, in one place.
namespace messages {

// Progress of a selection.
[[nodiscard]] QString fetching();
[[nodiscard]] QString repairing();

// To acknowledge.
[[nodiscard]] QString damaged(); ///< of the recording alone, never of what went wrong here
[[nodiscard]] QString diskFull(const QString &disk); ///< its mount point
[[nodiscard]] QString notRead(const QString &reason); ///< from the card
[[nodiscard]] QString cardRemoved(); ///< while a recording was on its way
[[nodiscard]] QString locationSaved();
[[nodiscard]] QString gSensorSaved();

// In the middle of the window.
[[nodiscard]] QString noCard();
[[nodiscard]] QString insertCard();
[[nodiscard]] QString download();
[[nodiscard]] QString downloadFinished();

} // namespace messages
