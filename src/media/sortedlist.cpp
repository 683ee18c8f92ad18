#include "sortedlist.h"

#include <algorithm>
#include <numeric>

SortedList sortedNewestFirst(const FileList &items)
{
    QStringList dateTexts;
    dateTexts.reserve(items.size());
    for (const FileListItem &item : items)
        dateTexts.append(item.dateText());

    QList<qsizetype> order(items.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
                     [&](qsizetype a, qsizetype b) { return dateTexts.at(a) > dateTexts.at(b); });

    SortedList sorted;
    sorted.items.reserve(items.size());
    sorted.dateTexts.reserve(items.size());
    for (const qsizetype place : std::as_const(order)) {
        sorted.items.append(items.at(place));
        sorted.dateTexts.append(dateTexts.at(place));
    }
    return sorted;
}

FileList entriesOfType(const FileList &items, const QString &type)
{
    if (type == u"all")
        return items;
    FileList entries;
    std::copy_if(items.cbegin(), items.cend(), std::back_inserter(entries),
                 [&](const FileListItem &item) { return item.type == type; });
    return entries;
}
