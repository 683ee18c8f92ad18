import QtQuick

/// A button with a word on it, of the looks of ImageButton.
PlainButton {
    id: root

    required property string title

    implicitWidth: 60
    implicitHeight: 34

    contentItem: Text {
        text: root.title
        textFormat: Text.PlainText
        color: Theme.faded("white", 0.85)
        font.pixelSize: 12
        font.weight: Font.Medium
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        Accessible.ignored: true
    }
    background: Rectangle {
        color: Theme.faded("black", 0.18)
        border.color: Theme.faded("white", 0.06)
    }
}
