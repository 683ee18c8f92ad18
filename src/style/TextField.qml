import QtQuick
import QtQuick.Controls.Basic as Basic
import Vornex.Style

Basic.TextField {
    id: root

    font.pixelSize: Theme.titleSize
    leftPadding: 8
    rightPadding: 8
    padding: 4

    background: Rectangle {
        border.color: root.activeFocus ? Theme.accent : root.palette.mid
        color: root.palette.base
        implicitHeight: 28
        implicitWidth: 160
        radius: 5
    }
}
