import QtQuick

/// The date of a point in time; its time of day stays.
PartsField {
    id: root

    required property date value
    signal dateEdited(date value)

    function daysIn(year: int, month: int): int {
        return new Date(year, month, 0).getDate();
    }

    digits: [4, 2, 2]
    firsts: [2000, 1, 1]
    lasts: [2099, 12, daysIn(value.getFullYear(), value.getMonth() + 1)]
    names: [qsTr("년"), qsTr("월"), qsTr("일")]
    separator: "-"
    title: qsTr("날짜")
    values: [value.getFullYear(), value.getMonth() + 1, value.getDate()]

    onEdited: (part, number) => {
        const parts = Array.from(values);
        parts[part] = number;
        const day = Math.min(parts[2], daysIn(parts[0], parts[1]));
        const changed = new Date(value.getTime());
        changed.setFullYear(parts[0], parts[1] - 1, day);
        dateEdited(changed);
    }
}
