#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QUuid>

/// One recording on the card, or one local file shown in its place.
struct FileListItem {
    Q_GADGET
public:
    /// The colour of the kind label; which tint that is belongs to the view.
    enum class KindColor { PrimaryText, Red, Green, Yellow };
    Q_ENUM(KindColor)

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
    [[nodiscard]] KindColor kindColor() const;
    /// "mov/" + type + "/" + name, the recording's place on the card and below the temporary folder.
    [[nodiscard]] QString cardPath() const;
};
using FileList = QList<FileListItem>;
