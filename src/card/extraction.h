#pragma once

#include <QString>

/// How the extraction of one file from the card ended.
struct Extraction {
    enum class Outcome {
        Whole, ///< the file lies in the mirror as it is on the card
        Incomplete, ///< the card is damaged there: `size` bytes lie in the mirror, none if nothing could be
                    ///< read
        Missing, ///< the card has no such file, or its path can't stand on a command line
        DiskFull, ///< `reason` names the disk
        CardGone, ///< or another card session has begun
        Cancelled, ///< its tool was told to end
        ToolFailed,
    };
    Outcome outcome = Outcome::ToolFailed;
    quint64 size = 0; ///< of the file in the mirror
    QString reason; ///< in the tool's words; empty if there is nothing to say

    [[nodiscard]] bool isWhole() const { return outcome == Outcome::Whole; }
};
