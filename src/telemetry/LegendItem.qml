import QtQuick
import QtQuick.Controls
import Vornex.Style

/// A coloured bar with its name.
Row {
    id: root
    required property string name
    required property color color

    spacing: 8
    Rectangle {
        anchors.verticalCenter: parent.verticalCenter
        width: 14
        height: 3
        radius: 2
        color: root.color
        opacity: 0.75
    }
    Label {
        text: root.name
        font.pixelSize: Theme.footnoteSize
        color: "white"
        opacity: 0.85
    }
}
