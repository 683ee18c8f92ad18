import QtQuick
import QtQuick.Templates as T
import Vornex.Style

T.ScrollBar {
    id: root

    implicitHeight: implicitContentHeight + topPadding + bottomPadding
    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    minimumSize: 0.08 // of ten thousand rows, too, the handle can be grasped
    padding: 2
    visible: policy !== T.ScrollBar.AlwaysOff && (policy === T.ScrollBar.AlwaysOn || size < 1)

    background: Rectangle {
        color: Theme.faded("white", 0.04)
        radius: 5
    }
    contentItem: Rectangle {
        color: Theme.faded("white", root.pressed ? 0.5 : root.hovered ? 0.4 : 0.25)
        implicitHeight: 6
        implicitWidth: 6
        radius: 3
        visible: root.size < 1
    }
}
