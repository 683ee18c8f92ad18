pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Templates as T

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

        // Not a PlainButton: a control tells the role of its own type as soon as a screen reader comes.
        T.TabButton {
            id: tab

            required property int index
            required property string modelData
            readonly property bool isSelected: index === root.selectedIndex

            checkable: false
            opacity: down ? 0.7 : 1
            verticalPadding: 6
            horizontalPadding: 10
            implicitWidth: implicitContentWidth + leftPadding + rightPadding
            implicitHeight: implicitContentHeight + topPadding + bottomPadding
            onClicked: root.tap(index)
            Keys.onReturnPressed: clicked()
            Keys.onEnterPressed: clicked()
            Keys.onLeftPressed: tabs.focusTab(index - 1)
            Keys.onRightPressed: tabs.focusTab(index + 1)

            Accessible.role: Accessible.PageTab
            Accessible.name: modelData
            Accessible.onPressAction: clicked()
            Accessible.selectable: true
            Accessible.selected: isSelected

            contentItem: Text {
                text: tab.modelData
                textFormat: Text.PlainText
                color: tab.isSelected ? "white" : Theme.gray
                font.pixelSize: 12
                Accessible.ignored: true
            }
            FocusRing {
                z: 1
                radius: 6
                visible: tab.visualFocus
            }
            background: Rectangle {
                radius: 6
                color: Theme.faded(Theme.gray, tab.isSelected ? 0.25 : 0.12)
            }
        }

        function focusTab(index: int) {
            const tab = itemAt(index);
            if (tab)
                tab.forceActiveFocus(Qt.TabFocusReason);
        }
    }
}
