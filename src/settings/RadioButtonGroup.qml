pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Templates as T
import Vornex.Widgets

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

        T.RadioButton {
            id: option

            required property int index
            readonly property int optionId: root.options[index].id
            readonly property bool isSelected: index === root.selectedIndex
            readonly property bool isTabStop: index === Math.max(0, root.selectedIndex)

            focusPolicy: isTabStop || activeFocus ? Qt.StrongFocus : Qt.ClickFocus
            implicitHeight: 20
            implicitWidth: implicitContentWidth
            checked: isSelected
            opacity: down ? 0.7 : 1
            text: root.options[index].title

            Accessible.name: text
            Keys.onLeftPressed: root.choose(index - 1)
            Keys.onRightPressed: root.choose(index + 1)
            // Assistive technologies change `checked` without a signal that tells a user's doing.
            onCheckedChanged: {
                if (checked && !isSelected)
                    root.edited(optionId);
            }

            FocusRing {
                visible: option.visualFocus
                anchors.margins: -3
                radius: 3
            }

            contentItem: Row {
                spacing: 4

                Rectangle {
                    anchors.verticalCenter: parent.verticalCenter
                    border.color: option.isSelected ? Theme.blue : Theme.secondaryText
                    border.width: 1
                    color: "transparent"
                    height: 14
                    radius: 7
                    width: 14

                    Rectangle {
                        anchors.centerIn: parent
                        color: Theme.blue
                        height: 8
                        radius: 4
                        visible: option.isSelected
                        width: 8
                    }
                }
                Label {
                    anchors.verticalCenter: parent.verticalCenter
                    color: Theme.text
                    font.pixelSize: 12
                    text: option.text

                    Accessible.ignored: true
                }
            }
        }
    }
}
