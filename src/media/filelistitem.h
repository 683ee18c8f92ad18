#pragma once

#include <QList>
#include <QString>
#include <QUuid>

/// One recording on the card, or one local file shown in its place.
struct FileListItem {
    QUuid id = QUuid::createUuid(); ///< identity within one listing
    QString type; ///< folder under "mov/": "normal", "event", "park", "manual" or "saved"
    QString name; ///< file name as listed on the card
    quint64 size = 0; ///< bytes, as listed
    quint64 read = 0; ///< bytes of the extracted copy; 0 until it was extracted
    bool isChecked = false;
    bool isSelected = false;

    /// Such as "2024/03/09 17:05:59", rearranged from the name and not checked as a date; "-" for a name
    /// without one.
    [[nodiscard]] QString dateText() const;
    /// "REC", "EVT", "PAK", "MAN" or empty, by the name's first two characters.
    [[nodiscard]] QString kindLabel() const;
};
using FileList = QList<FileListItem>;
