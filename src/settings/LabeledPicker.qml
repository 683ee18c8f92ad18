import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Vornex.Settings

/// A field's options to choose from. A value that none of them has shows as nothing, and stays until a person
/// chooses another.
RowLayout {
    id: root

    required property SettingsViewModel vm
    required property string field
    required property string title

    readonly property var options: Array.from(vm.options(field)).filter(option => option.gate === "" || vm[option.gate])
    readonly property int shownIndex: options.findIndex(option => option.id === vm[field])

    spacing: 8

    Label {
        Layout.preferredWidth: 110
        text: root.title
    }
    ComboBox {
        id: picker

        Layout.fillWidth: true
        currentIndex: root.shownIndex
        model: root.options.map(option => option.title)

        Accessible.description: displayText
        Accessible.name: root.title
        onActivated: index => root.vm[root.field] = root.options[index].id
        // A new list makes it choose the first item by itself.
        onModelChanged: currentIndex = Qt.binding(() => root.shownIndex)
    }
}
