import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Vornex.Style

/// A value to be read only.
RowLayout {
    id: root

    required property string title
    required property string value

    component Cell: Label {
        Layout.bottomMargin: 2
        Layout.topMargin: 2
        font.pixelSize: Theme.titleSize
    }

    Cell {
        color: Theme.secondaryText
        text: root.title
    }
    Cell {
        Layout.fillWidth: true
        elide: Text.ElideRight
        horizontalAlignment: Text.AlignRight
        text: root.value
        textFormat: Text.PlainText

        Accessible.name: root.value
        Accessible.description: root.title
    }
}
