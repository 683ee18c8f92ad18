import QtQuick
import QtQuick.Templates as T

/// What all buttons have in common: keys, accessibility, the ring of the focus. The caller gives the looks.
T.AbstractButton {
    id: root

    required property string name

    opacity: !enabled ? 0.4 : down ? 0.7 : 1
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()

    Accessible.role: Accessible.Button
    Accessible.name: name
    Accessible.readOnly: !enabled
    Accessible.onPressAction: {
        if (enabled)
            clicked();
    }

    FocusRing {
        z: 1
        visible: root.visualFocus
    }
}
