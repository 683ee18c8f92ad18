import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Vornex.Settings

/// The form: two columns of sections, and the buttons below. On a screen that is too small for it the columns
/// scroll, and the buttons stay.
FocusScope {
    id: root

    required property SettingsViewModel vm

    /// Brings what the keyboard acts on into view.
    function reveal(item: Item) {
        let ancestor = item;
        while (ancestor && ancestor !== columns)
            ancestor = ancestor.parent;
        if (!ancestor)
            return;
        const top = item.mapToItem(columns, 0, 0).y;
        const lowest = Math.max(0, flickable.contentHeight - flickable.height);
        const least = Math.min(lowest, top + item.height + 8 - flickable.height);
        flickable.contentY = Math.max(least, Math.min(flickable.contentY, Math.max(0, top - 8)));
    }

    implicitHeight: 600
    implicitWidth: 900

    Component.onCompleted: vm.loadSettings()
    Connections {
        target: root.Window.window
        function onActiveFocusItemChanged() {
            root.reveal(root.Window.activeFocusItem);
        }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 16
        spacing: 12

        Flickable {
            id: flickable

            Layout.fillHeight: true
            Layout.fillWidth: true
            boundsBehavior: Flickable.StopAtBounds
            clip: true
            contentHeight: columns.implicitHeight
            contentWidth: columns.width
            interactive: contentHeight > height || contentWidth > width

            ScrollBar.horizontal: ScrollBar {}
            ScrollBar.vertical: ScrollBar {
                height: flickable.height
                parent: root // in the margin, not over the form
                policy: flickable.contentHeight > flickable.height ? ScrollBar.AlwaysOn : ScrollBar.AsNeeded
                x: root.width - width - 3
                y: 16
            }

            RowLayout {
                id: columns

                spacing: 12
                width: Math.max(flickable.width, 816)

                ColumnLayout {
                    Layout.alignment: Qt.AlignTop
                    Layout.fillWidth: true
                    Layout.preferredWidth: 1
                    spacing: 12

                    StorageSection {
                        Layout.fillWidth: true
                        vm: root.vm
                    }
                    RecordSettingsSection {
                        Layout.fillWidth: true
                        vm: root.vm
                    }
                    ADASSection {
                        Layout.fillWidth: true
                        vm: root.vm
                    }
                    DriveModeSection {
                        Layout.fillWidth: true
                        vm: root.vm
                    }
                }
                ColumnLayout {
                    Layout.alignment: Qt.AlignTop
                    Layout.fillWidth: true
                    Layout.preferredWidth: 1
                    spacing: 12

                    GeneralSection {
                        Layout.fillWidth: true
                        vm: root.vm
                    }
                    WifiSection {
                        Layout.fillWidth: true
                        vm: root.vm
                    }
                    VersionSection {
                        Layout.fillWidth: true
                        vm: root.vm
                    }
                }
            }
        }
        RowLayout {
            spacing: 12

            Item {
                Layout.fillWidth: true
            }
            Button {
                text: qsTr("설정 초기화")
                onClicked: root.vm.resetSettings()
            }
            Button {
                text: qsTr("저장")
                onClicked: root.vm.saveSettings()
            }
        }
    }
}
