import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Vornex.Settings
import Vornex.Style

/// How the camera shares out the card among its kinds of recordings.
GroupCard {
    id: root

    required property SettingsViewModel vm

    readonly property list<int> normalPercents: [50, 70, 30, 30]
    readonly property list<int> eventPercents: [25, 20, 20, 45]
    readonly property list<int> parkPercents: [20, 5, 45, 20]
    readonly property list<int> manualPercents: [5, 5, 5, 5]
    property real normalPercent: 0
    property real eventPercent: 0
    property real parkPercent: 0
    property real manualPercent: 0

    /// A split that isn't known keeps the last percentages.
    function showSplit() {
        const split = vm.storagePriority;
        if (split < 0 || split >= normalPercents.length)
            return;
        normalPercent = normalPercents[split];
        eventPercent = eventPercents[split];
        parkPercent = parkPercents[split];
        manualPercent = manualPercents[split];
    }

    component Glide: NumberAnimation {
        duration: 300
        easing.type: Easing.InOutQuad
    }

    title: qsTr("저장 공간 (%)")

    Component.onCompleted: showSplit()
    Connections {
        target: root.vm
        function onStoragePriorityChanged() {
            root.showSplit();
        }
    }
    Behavior on normalPercent {
        Glide {}
    }
    Behavior on eventPercent {
        Glide {}
    }
    Behavior on parkPercent {
        Glide {}
    }
    Behavior on manualPercent {
        Glide {}
    }

    RowLayout {
        Layout.bottomMargin: 5
        spacing: 25

        RadioButtonGroup {
            name: root.title
            options: [
                { id: 0, title: qsTr("주행우선") },
                { id: 1, title: qsTr("주행우선2") },
                { id: 2, title: qsTr("이벤트우선") },
                { id: 3, title: qsTr("주차우선") }
            ]
            selection: Number(root.vm.storagePriority)
            onEdited: id => root.vm.storagePriority = id
        }
        Label {
            color: Theme.secondaryText
            font.pixelSize: Theme.footnoteSize
            text: qsTr("보관 2GB")
        }
    }
    ProgressRow {
        color: Theme.blue
        title: qsTr("주행 녹화 (%)")
        value: root.normalPercent
    }
    ProgressRow {
        Layout.topMargin: -5
        color: Theme.pink
        title: qsTr("이벤트 녹화 (%)")
        value: root.eventPercent
    }
    ProgressRow {
        Layout.topMargin: -5
        color: Theme.green
        title: qsTr("주차 녹화 (%)")
        value: root.parkPercent
    }
    ProgressRow {
        Layout.topMargin: -5
        color: Theme.yellow
        title: qsTr("수동 녹화 (%)")
        value: root.manualPercent
    }
}
