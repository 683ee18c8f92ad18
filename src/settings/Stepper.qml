import QtQuick
import QtQuick.Templates as T
import Vornex.Widgets

/// Two small arrows for the mouse; the keyboard has its own way.
Column {
    id: root

    required property string name ///< for screen readers
    signal step(int offset)

    component Arrow: T.AbstractButton {
        id: arrow

        required property string name

        autoRepeat: true
        focusPolicy: Qt.NoFocus
        implicitHeight: 12
        implicitWidth: 18
        opacity: !enabled ? 0.4 : down ? 0.7 : 1

        Accessible.name: name
        Accessible.onPressAction: clicked()
        Accessible.readOnly: !enabled
        Accessible.role: Accessible.Button
        background: Rectangle {
            color: Theme.faded("white", 0.12)
            radius: 2
        }
        contentItem: Text {
            color: Theme.text
            font.pixelSize: 7
            horizontalAlignment: Text.AlignHCenter
            text: arrow.text

            Accessible.ignored: true
            verticalAlignment: Text.AlignVCenter
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
