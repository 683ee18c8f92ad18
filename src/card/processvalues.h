#pragma once

#include "card.h"

/// Values of the whole process: the card that is in, and views on it. Main thread, except tempRoot().
namespace processvalues {

/// None when no card is in.
[[nodiscard]] CardPtr card();

/// The card's raw device, such as /dev/sdb. Only SDManager writes it; each time the earlier card goes and
/// another one comes.
[[nodiscard]] std::optional<QString> cardDevicePath();
void setCardDevicePath(std::optional<QString> path);

/// Number of channels that the camera records with: of the card, or of the last one that told it, at first 0.
/// Only ProcessManager writes it.
[[nodiscard]] int recordedChannelCount();
void setRecordedChannelCount(int count);

/// The private folder of all extracted data, made on first use, with a trailing "/". Any thread.
[[nodiscard]] const QString &tempRoot();

} // namespace processvalues
