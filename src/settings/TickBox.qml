import QtQuick
import QtQuick.Controls
import Vornex.Settings

/// A check box for a field of the form. It shows the field, and writes it only when a person or an assistive
/// technology changed the box.
CheckBox {
    id: root

    required property SettingsViewModel vm
    required property string field
    readonly property bool isOn: vm[field]

    checked: isOn
    padding: 0

    // Assistive technologies change `checked` without a signal that tells a user's doing.
    onCheckedChanged: {
        if (checked !== isOn)
            vm[field] = checked;
    }
}
