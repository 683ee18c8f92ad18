#pragma once

#include "recording.h"

#include <QList>
#include <QObject>

/// One row of the list: a recording, and what the user did to its row.
struct FileListItem : Recording {
    Q_GADGET
public:
    /// The colour of the kind label; which tint that is belongs to the view.
    enum class KindColor { PrimaryText, Red, Green, Yellow };
    Q_ENUM(KindColor)

    bool isChecked = false;
    bool isSelected = false;

    /// Such as "2024/03/09 17:05:59", rearranged from the name and not checked as a date; "-" for a name
    /// without one.
    [[nodiscard]] QString dateText() const;
    [[nodiscard]] QString kindLabel() const; ///< "REC", "EVT", "PAK", "MAN" or empty
    [[nodiscard]] KindColor kindColor() const;
};
using FileList = QList<FileListItem>;
