import QtQuick
import QtQuick.Controls
import Vornex.Style

/// Two small arrows for the mouse; the keyboard has its own way.
Column {
    id: root

    required property string name ///< for screen readers
    signal step(int offset)

    component Arrow: Button {
        required property string name

        autoRepeat: true
        flat: true
        focusPolicy: Qt.NoFocus
        font.pixelSize: Theme.arrowSize
        implicitHeight: 12
        implicitWidth: 18
    
        Accessible.name: name
        background: Rectangle {
            color: Theme.faded("white", 0.12)
            radius: 2
        }
    }

    spacing: 1

    Arrow {
        name: qsTr("%1 올리기").arg(root.name)
        text: "▲"
        onClicked: root.step(1)
    }
    Arrow {
        name: qsTr("%1 내리기").arg(root.name)
        text: "▼"
        onClicked: root.step(-1)
    }
}
