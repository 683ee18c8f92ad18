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
            field: "driveType"
            name: qsTr("주행모드 설정")
            vm: root.vm
        }
    }
    GroupCard {
        Layout.fillWidth: true
        title: qsTr("주차모드 설정")

        RadioButtonGroup {
            Layout.fillWidth: true
            field: "parkingMode"
            name: qsTr("주차모드 설정")
            vm: root.vm
        }
    }
}
