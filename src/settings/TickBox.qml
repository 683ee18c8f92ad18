import QtQuick
import QtQuick.Controls

/// A check box that shows `isOn`. It never writes it: the owner does, on `edited`.
CheckBox {
    id: root

    required property bool isOn
    signal edited(bool isOn)

    checked: isOn
    font.pixelSize: 12
    padding: 0
    spacing: 6

    Accessible.name: text
    Accessible.readOnly: !enabled
    // Assistive technologies change `checked` without a signal that tells a user's doing.
    onCheckedChanged: {
        if (checked !== isOn)
            edited(checked);
    }
}
