#pragma once

#include <QString>

/// Why a tool didn't do its work, for callers to branch on.
enum class ToolProblem {
    None,
    Damaged, ///< its input, as far as can be told
    DiskFull, ///< that of its target
    ToolMissing,
    TimedOut,
    Cancelled,
};

/// How the run of a tool ended, and what it said.
struct ToolResult {
    enum class End { Exited, Signalled, TimedOut, Cancelled, NotStarted };

    End end = End::NotStarted;
    int status = -1; ///< exit status or number of the signal
    QString output; ///< standard output
    QString messages; ///< standard error, or why it was not started
    bool isCut = false; ///< whether the middle of one of them was left out, for its size

    [[nodiscard]] bool hasSucceeded() const { return end == End::Exited && status == 0; }
    /// By the tool's own account. Told success is another thing: a target with a size.
    [[nodiscard]] ToolProblem problem() const;
    /// One line: how it ended, and its last words.
    [[nodiscard]] QString summary() const;
};
