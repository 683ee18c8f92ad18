pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import Vornex.Settings

/// A field's options of which one is chosen, or none if the field has another value. Tab reaches the chosen
/// option, arrows choose the next one.
Row {
    id: root

    required property SettingsViewModel vm
    required property string field
    required property string name ///< for screen readers

    readonly property var options: vm.options(field)
    readonly property int selectedIndex: options.findIndex(option => option.id === vm[field])

    function choose(index: int) {
        if (index < 0 || index >= options.length)
            return;
        buttons.itemAt(index).forceActiveFocus(Qt.TabFocusReason);
        vm[field] = options[index].id;
    }

    spacing: 15

    Accessible.name: name
    Accessible.role: Accessible.Grouping

    Repeater {
        id: buttons

        model: root.options.length

        RadioButton {
            required property int index
            readonly property bool isSelected: index === root.selectedIndex
            readonly property bool isTabStop: index === Math.max(0, root.selectedIndex)

            checked: isSelected
            focusPolicy: isTabStop || activeFocus ? Qt.StrongFocus : Qt.ClickFocus
            text: root.options[index].title

            Keys.onLeftPressed: root.choose(index - 1)
            Keys.onRightPressed: root.choose(index + 1)
            // Assistive technologies change `checked` without a signal that tells a user's doing.
            onCheckedChanged: {
                if (checked && !isSelected)
                    root.vm[root.field] = root.options[index].id;
            }
        }
    }
}
