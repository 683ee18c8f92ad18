import QtQuick
import QtQuick.Layouts
import Vornex.Settings

/// How the camera records while driving and while parked.
ColumnLayout {
    id: root

    required property SettingsViewModel vm

    spacing: 5

    GroupCard {
        Layout.fillWidth: true
        title: qsTr("주행모드 설정")

        RadioButtonGroup {
            Layout.fillWidth: true
            name: qsTr("주행모드 설정")
            options: [
                { id: 0, title: qsTr("기본") },
                { id: 1, title: qsTr("타임랩스") }
            ]
            selection: Number(root.vm.driveType)
            onEdited: id => root.vm.driveType = id
        }
    }
    GroupCard {
        Layout.fillWidth: true
        title: qsTr("주차모드 설정")

        RadioButtonGroup {
            Layout.fillWidth: true
            name: qsTr("주차모드 설정")
            options: [
                { id: 1, title: qsTr("모션인식") },
                { id: 2, title: qsTr("타임랩스") },
                { id: 3, title: qsTr("초절전") },
                { id: 0, title: qsTr("사용안함(블랙박스 종료)") }
            ]
            selection: Number(root.vm.parkingMode)
            onEdited: id => root.vm.parkingMode = id
        }
    }
}
