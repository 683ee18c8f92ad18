#pragma once

#include <optional>
#include <QDateTime>
#include <QString>
#include <QUuid>

/// One recording on the card, or one local file in its place: where it lies, how large it is, and what its
/// name says. How that looks is the views' matter.
struct Recording {
    enum class Kind { Other, Continuous, Event, Parking, Manual };
    enum class Extracted { No, Partly, Whole };

    QUuid id = QUuid::createUuid(); ///< identity within one listing
    QString type; ///< folder under "mov/": "normal", "event", "park", "manual" or "saved"
    QString name; ///< file name as listed on the card
    quint64 size = 0; ///< bytes, as listed; 0 for unknown
    quint64 read = 0; ///< bytes of the extracted copy; 0 until it was extracted

    [[nodiscard]] Extracted extracted() const;
    /// By the name's first two characters; the folder plays no part.
    [[nodiscard]] Kind kind() const;
    /// Of the camera's clock; none if the name holds no time that exists.
    [[nodiscard]] std::optional<QDateTime> startTime() const;
    /// The name that the camera uses until it closes the file.
    [[nodiscard]] bool isUnfinished() const { return name.contains(u".mov"); }
    /// "mov/" + type + "/" + name, the recording's place on the card and below the temporary folder.
    [[nodiscard]] QString cardPath() const;
};

/// The digits of a recording's time as its name holds them, such as "20240309" and "170559"; not checked as a
/// date. None for another name. The views point into name.
struct NameTime {
    QStringView date;
    QStringView time;
};
[[nodiscard]] std::optional<NameTime> timeInName(const QString &name);
