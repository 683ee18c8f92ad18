#pragma once

#include "filelistitem.h"

#include <QStringList>

/// Recordings newest first, with their date texts beside them. Those are searched for in the names, so they
/// are worked out once, not at each comparison and each paint.
struct SortedList {
    FileList items;
    QStringList dateTexts; ///< as many as items
};

/// Sorts by date text, descending, by code units; recordings of equal texts keep their order, those without a
/// date come last. Any thread.
[[nodiscard]] SortedList sortedNewestFirst(const FileList &items);

/// The entries of exactly this type in their order, or all of them for "all". Any thread.
[[nodiscard]] FileList entriesOfType(const FileList &items, const QString &type);
