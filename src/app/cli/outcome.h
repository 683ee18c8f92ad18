#pragma once

#include <QString>

/// What the program ends with. Told in --help; scripts may rely on the numbers.
enum class ExitStatus {
    Whole = 0, ///< the result is complete
    Usage = 1, ///< the command line is wrong
    NoCard = 2, ///< the image can't be read, or holds no card
    Incomplete = 3, ///< damage: what could be read or repaired is there, and something is missing
    NotFound = 4, ///< no such recording
    NotWritten = 5, ///< the result can't be written
    Internal = 6, ///< a helper tool is missing or failed
    Unrepairable = 7, ///< nothing in the recording can be played
};

struct Outcome {
    ExitStatus status = ExitStatus::Whole;
    QString message; ///< for people, without a line end; empty if there is nothing to say
};
