pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import Vornex.Session
import Vornex.Style

/// The recordings of the chosen kind. Arrows move the current row, Return plays it, the space bar ticks it.
Rectangle {
    id: root

    required property AppViewModel viewModel

    clip: true
    color: Theme.faded(Theme.gray, 0.1)
    radius: 8

    ListView {
        id: list

        readonly property int rowsOnPage: Math.max(1, Math.floor(height / Math.max(1, currentItem?.height ?? 30)) - 1)

        /// The keyboard is to be seen to stand somewhere.
        function showCurrentRow() {
            if (activeFocus && currentIndex < 0 && count > 0)
                currentIndex = 0;
        }

        activeFocusOnTab: true
        anchors.fill: parent
        boundsBehavior: Flickable.StopAtBounds
        clip: true
        focus: true
        highlightMoveDuration: 0
        keyNavigationEnabled: true
        model: root.viewModel.rows
        reuseItems: true

        Accessible.name: qsTr("녹화 목록")
        Accessible.role: Accessible.List
        Keys.onEnterPressed: root.viewModel.tapRow(currentIndex)
        Keys.onPressed: event => {
            const targets = {
                [Qt.Key_Home]: 0,
                [Qt.Key_End]: count - 1,
                [Qt.Key_PageUp]: Math.max(0, currentIndex - rowsOnPage),
                [Qt.Key_PageDown]: Math.min(count - 1, currentIndex + rowsOnPage)
            };
            if (count > 0 && event.key in targets) {
                currentIndex = targets[event.key];
                event.accepted = true;
            }
        }
        Keys.onReturnPressed: root.viewModel.tapRow(currentIndex)
        onActiveFocusChanged: showCurrentRow()
        onCountChanged: showCurrentRow()
        Keys.onSpacePressed: (currentItem as FileRow)?.toggleTick()

        ScrollBar.vertical: ScrollBar {
            policy: ScrollBar.AlwaysOn
        }
        Connections {
            target: root.viewModel

            // At the end of a recording the next one is selected without a tap.
            function onSelectedIndexChanged() {
                if (root.viewModel.selectedRow >= 0 && root.viewModel.selectedRow < list.count)
                    list.currentIndex = root.viewModel.selectedRow;
            }
        }

        delegate: FileRow {
            id: row

            isCurrent: ListView.isCurrentItem && list.activeFocus
            isLocal: root.viewModel.uploaded
            usesKindColours: root.viewModel.selectedTab > 3
            width: list.width - 12

            onTapped: {
                list.forceActiveFocus();
                list.currentIndex = row.index;
                root.viewModel.tapRow(row.index);
            }
            onTicked: isOn => root.viewModel.setChecked(row.index, isOn)
        }
    }
}
