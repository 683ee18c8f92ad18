pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic as Basic
import Vornex.Style

Basic.ComboBox {
    id: root

    leftPadding: 8
    rightPadding: 24

    background: Rectangle {
        border.color: root.visualFocus ? Theme.accent : root.palette.mid
        border.width: root.visualFocus ? 2 : 1
        color: root.palette.button
        implicitHeight: 26
        implicitWidth: 120
        radius: 4
    }
    contentItem: Text {
        color: root.palette.buttonText
        elide: Text.ElideRight
        font: root.font
        text: root.displayText
        textFormat: Text.PlainText
        verticalAlignment: Text.AlignVCenter
    }
    delegate: Basic.ItemDelegate {
        required property int index
        required property string modelData

        height: 24
        highlighted: root.highlightedIndex === index
        horizontalPadding: root.leftPadding
        text: modelData
        verticalPadding: 0
        width: ListView.view.width
    }
    indicator: Image {
        source: "qrc:/icons/down.svg"
        x: root.width - width - 8
        y: (root.height - height) / 2
    }
}
