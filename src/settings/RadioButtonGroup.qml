pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls

/// Options of which one is chosen, or none if `selection` is no option's id. It never writes `selection`: the
/// owner does, on `edited`. Tab reaches the chosen option, arrows choose the next one.
Row {
    id: root

    required property string name ///< for screen readers
    required property real selection
    required property var options ///< of { id, title }
    signal edited(int selection)

    readonly property int selectedIndex: options.findIndex(option => option.id === selection)

    function choose(index: int) {
        if (index < 0 || index >= options.length)
            return;
        buttons.itemAt(index).forceActiveFocus(Qt.TabFocusReason);
        edited(options[index].id);
    }

    spacing: 15

    Accessible.name: name
    Accessible.role: Accessible.Grouping

    Repeater {
        id: buttons

        model: root.options.length

        RadioButton {
            required property int index
            readonly property int optionId: root.options[index].id
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
                    root.edited(optionId);
            }
        }
    }
}
