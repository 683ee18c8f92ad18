import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Vornex.Widgets

/// A value to be read only.
RowLayout {
    id: root

    required property string title
    required property string value

    Label {
        Layout.bottomMargin: 2
        Layout.topMargin: 2
        color: Theme.secondaryText
        font.pixelSize: 13
        text: root.title
    }
    Label {
        Layout.bottomMargin: 2
        Layout.fillWidth: true
        Layout.topMargin: 2
        color: Theme.text
        elide: Text.ElideRight
        font.pixelSize: 13
        horizontalAlignment: Text.AlignRight
        text: root.value
        textFormat: Text.PlainText

        Accessible.name: root.value
        Accessible.description: root.title
    }
}
