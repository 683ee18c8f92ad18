pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import Vornex.Style

/// A card with a message. It takes the mouse on itself, and leaves what lies beside it alone.
FocusScope {
    id: root

    required property string title
    property string message
    property string buttonText ///< empty: there is no button
    signal buttonTap

    /// Long texts are wrapped to this width.
    property real maximumWidth: 520

    implicitWidth: Math.max(300, Math.min(maximumWidth, content.naturalWidth + 2 * content.padding))
    implicitHeight: content.implicitHeight

    Accessible.role: Accessible.AlertMessage
    Accessible.name: title
    Accessible.description: message

    Rectangle {
        anchors.fill: parent
        radius: 10
        color: "white"
        border.color: Theme.faded("white", 0.1)
    }
    MouseArea {
        anchors.fill: parent
        acceptedButtons: Qt.AllButtons
        onWheel: {}
    }

    component Line: Label {
        width: content.availableWidth
        horizontalAlignment: Text.AlignHCenter
        textFormat: Text.PlainText
        wrapMode: Text.Wrap
        elide: Text.ElideRight
    }

    Column {
        id: content

        readonly property real availableWidth: root.width - 2 * padding
        readonly property real naturalWidth: Math.max(titleLine.implicitWidth, messageLine.implicitWidth,
                                                      button.implicitWidth)
        width: root.width
        padding: 20
        spacing: 12

        Line {
            id: titleLine
            objectName: "title"
            text: root.title
            color: Theme.gray
            font.pixelSize: Theme.headlineSize
            font.bold: true
            maximumLineCount: 8
        }
        Line {
            id: messageLine
            objectName: "message"
            visible: text !== ""
            text: root.message
            color: "black"
            font.pixelSize: Theme.bodySize
            maximumLineCount: 12
        }
        Button {
            id: button
            objectName: "button"
            anchors.horizontalCenter: parent.horizontalCenter
            focus: true
            highlighted: true
            text: root.buttonText
            visible: text !== ""
            onClicked: root.buttonTap()
        }
    }
}
