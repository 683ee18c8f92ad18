import QtQuick
import QtQuick.Controls.Basic as Basic
import Vornex.Style

Basic.RadioButton {
    id: root

    opacity: !enabled ? 0.4 : down ? 0.7 : 1
    padding: 0
    spacing: 4

    indicator: Rectangle {
        border.color: root.checked ? Theme.blue : Theme.secondaryText
        color: "transparent"
        implicitHeight: 14
        implicitWidth: 14
        radius: 7
        y: (root.height - height) / 2

        Rectangle {
            anchors.fill: parent
            anchors.margins: 3
            color: Theme.blue
            radius: 4
            visible: root.checked
        }
    }

    Accessible.name: text

    FocusRing {
        anchors.margins: -3
        radius: 3
        visible: root.visualFocus
    }
}
