import QtQuick
import QtQuick.Controls

/// A check box that shows `isOn`. It never writes it: the owner does, on `edited`.
CheckBox {
    id: root

    required property bool isOn
    signal edited(bool isOn)

    checked: isOn
    padding: 0

    // Assistive technologies change `checked` without a signal that tells a user's doing.
    onCheckedChanged: {
        if (checked !== isOn)
            edited(checked);
    }
}
