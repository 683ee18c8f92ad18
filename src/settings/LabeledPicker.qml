import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

/// A list to choose from. It shows the item at `selection`, or none if there isn't one, and never writes it:
/// the owner does, on `edited`.
RowLayout {
    id: root

    required property string title
    required property real selection
    required property list<string> items
    signal edited(int selection)

    readonly property int shownIndex: selection >= 0 && selection < items.length ? selection : -1

    spacing: 8

    Label {
        Layout.preferredWidth: 110
        text: root.title
    }
    ComboBox {
        id: picker

        Layout.fillWidth: true
        currentIndex: root.shownIndex
        model: root.items

        Accessible.description: displayText
        Accessible.name: root.title
        onActivated: index => root.edited(index)
        // A new list makes it choose the first item by itself.
        onModelChanged: currentIndex = Qt.binding(() => root.shownIndex)
    }
}
