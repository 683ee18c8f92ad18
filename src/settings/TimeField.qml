import QtQuick

/// Hour and minute of a point in time; its date and its seconds stay.
PartsField {
    id: root

    required property date value
    signal timeEdited(date value)

    digits: [2, 2]
    firsts: [0, 0]
    lasts: [23, 59]
    names: [qsTr("시"), qsTr("분")]
    separator: ":"
    title: qsTr("시간")
    values: [value.getHours(), value.getMinutes()]

    onEdited: (part, number) => {
        const parts = Array.from(values);
        parts[part] = number;
        const changed = new Date(value.getTime());
        changed.setHours(parts[0], parts[1]);
        timeEdited(changed);
    }
}
