#pragma once

#include <initializer_list>
#include <QString>

/// Writes one line to standard output: "App ->", then the items, joined by blanks.
/// The line is flushed at once and is written whole, from any thread; line ends and other control characters
/// inside an item become blanks, so that a name from a card can't forge a line of its own or command a
/// terminal.
void logLine(std::initializer_list<QString> items);

inline void logLine(const QString &text) { logLine({text}); }
