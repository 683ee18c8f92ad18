pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls as Controls

/// A row of tabs. It keeps the highlighted index itself, which follows taps and `reset` alone.
Row {
    id: root

    required property list<string> items
    property int initialIndex: 0
    property bool reset: false ///< turning true, it takes the highlight away
    property string name ///< for screen readers
    property int selectedIndex: -1
    signal select(int index)

    property bool isComplete: false
    onResetChanged: {
        if (isComplete && reset)
            selectedIndex = -1;
    }
    Component.onCompleted: {
        selectedIndex = initialIndex;
        isComplete = true;
    }

    function tap(index: int) {
        selectedIndex = index;
        select(index);
    }

    spacing: 8
    Accessible.role: Accessible.PageTabList
    Accessible.name: name

    Repeater {
        id: tabs
        model: root.items

        Controls.TabButton {
            required property int index
            required property string modelData

            autoExclusive: false
            checkable: false
            checked: index === root.selectedIndex
            text: modelData
            onClicked: root.tap(index)
            Keys.onLeftPressed: tabs.focusTab(index - 1)
            Keys.onRightPressed: tabs.focusTab(index + 1)

            Accessible.role: Accessible.PageTab
            Accessible.selectable: true
            Accessible.selected: checked
        }

        function focusTab(index: int) {
            itemAt(index)?.forceActiveFocus(Qt.TabFocusReason);
        }
    }
}
