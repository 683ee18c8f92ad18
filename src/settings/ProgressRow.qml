import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import QtQuick.Templates as T
import Vornex.Style

/// A percentage as a bar and a number.
RowLayout {
    id: root

    required property string title
    required property int percent
    required property color color

    property real value: percent ///< glides to it
    readonly property string percentText: Math.round(value) + "%"

    Behavior on value {
        NumberAnimation {
            duration: 300
            easing.type: Easing.InOutQuad
        }
    }

    spacing: 8

    Label {
        Layout.minimumWidth: 120
        text: root.title
    }
    T.ProgressBar {
        id: bar

        Layout.fillWidth: true
        implicitHeight: 6
        value: root.value / 100

        Accessible.description: root.percentText
        Accessible.name: root.title

        background: Rectangle {
            color: Theme.faded(Theme.gray, 0.25)
            radius: 3
        }
        contentItem: Item {
            Rectangle {
                color: root.color
                height: parent.height
                radius: 3
                width: parent.width * bar.position
            }
        }
    }
    Label {
        Layout.preferredWidth: 36
        color: Theme.secondaryText
        font.pixelSize: Theme.footnoteSize
        horizontalAlignment: Text.AlignRight
        text: root.percentText
    }
}
