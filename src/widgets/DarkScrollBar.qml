import QtQuick
import QtQuick.Templates as T

/// A scroll bar that is seen on the dark window, unlike the style's own.
T.ScrollBar {
    id: root

    implicitHeight: implicitContentHeight + topPadding + bottomPadding
    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    minimumSize: 0.08 // of ten thousand rows, too, the handle can be grasped
    padding: 2

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
