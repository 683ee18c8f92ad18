import QtQuick
import QtQuick.Controls.Basic as Basic
import Vornex.Style

Basic.CheckBox {
    id: root

    opacity: !enabled ? 0.4 : down ? 0.7 : 1

    indicator: Rectangle {
        border.color: root.palette.mid
        color: root.palette.button
        implicitHeight: 14
        implicitWidth: 14
        radius: 2
        x: root.text ? root.leftPadding : (root.width - width) / 2
        y: (root.height - height) / 2

        Image {
            anchors.fill: parent
            source: "qrc:/icons/check.svg"
            visible: root.checked
        }
        FocusRing {
            anchors.margins: -3
            radius: 4
            visible: root.visualFocus
        }
    }

    Accessible.name: text
    Accessible.readOnly: !enabled
}
