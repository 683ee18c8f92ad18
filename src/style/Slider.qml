import QtQuick
import QtQuick.Templates as T
import Vornex.Style

/// Its ends lie at the ends of the track, where half of the handle stands over.
T.Slider {
    id: root

    implicitHeight: 16
    implicitWidth: 120
    opacity: enabled ? 1 : 0.4

    background: Rectangle {
        color: Theme.faded(Theme.gray, 0.25)
        height: 2
        y: (root.height - height) / 2

        Rectangle {
            color: root.palette.highlight
            height: 2
            width: parent.width * root.visualPosition
        }
    }
    handle: Item {
        x: root.width * root.visualPosition
        y: root.height / 2

        Rectangle {
            anchors.centerIn: parent
            color: "white"
            height: 12
            radius: 6
            width: 12

            FocusRing {
                anchors.margins: -4
                radius: 10
                visible: root.visualFocus
            }
        }
    }

    Accessible.readOnly: !enabled
}
