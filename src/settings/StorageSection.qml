import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Vornex.Settings
import Vornex.Style

/// How the camera shares out the card among its kinds of recordings.
GroupCard {
    id: root

    required property SettingsViewModel vm
    property var shares: [0, 0, 0, 0] ///< percent

    /// Keeps the last ones for a priority that isn't known.
    function showShares() {
        const options = Array.from(vm.options("storagePriority"));
        shares = options.find(option => option.id === vm.storagePriority)?.shares ?? shares;
    }

    title: qsTr("저장 공간 (%)")

    Component.onCompleted: showShares()
    Connections {
        target: root.vm
        function onStoragePriorityChanged() {
            root.showShares();
        }
    }

    RowLayout {
        Layout.bottomMargin: 5
        spacing: 25

        RadioButtonGroup {
            field: "storagePriority"
            name: root.title
            vm: root.vm
        }
        Label {
            color: Theme.secondaryText
            font.pixelSize: Theme.footnoteSize
            text: qsTr("보관 2GB")
        }
    }
    ProgressRow {
        color: Theme.blue
        percent: root.shares[0]
        title: qsTr("주행 녹화 (%)")
    }
    ProgressRow {
        Layout.topMargin: -5
        color: Theme.pink
        percent: root.shares[1]
        title: qsTr("이벤트 녹화 (%)")
    }
    ProgressRow {
        Layout.topMargin: -5
        color: Theme.green
        percent: root.shares[2]
        title: qsTr("주차 녹화 (%)")
    }
    ProgressRow {
        Layout.topMargin: -5
        color: Theme.yellow
        percent: root.shares[3]
        title: qsTr("수동 녹화 (%)")
    }
}
