import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Vornex.Settings
import Vornex.Style

/// Everything else that the camera can be told.
GroupCard {
    id: root

    required property SettingsViewModel vm

    title: qsTr("기타설정")

    LabeledPicker {
        field: "gmtIndex"
        title: qsTr("세계표준시(시간)")
        vm: root.vm
    }
    LabeledPicker {
        field: "limitVoltIndex"
        title: qsTr("전압설정(V)")
        vm: root.vm
    }
    Label {
        Layout.fillWidth: true
        color: Theme.red
        text: qsTr("* 저전압 차단 OFF 시 차량 배터리 방전 위험이 있습니다.")
        wrapMode: Text.Wrap
    }
    LabeledPicker {
        field: "lcdOffTimeIndex"
        title: qsTr("LCD시간")
        vm: root.vm
    }
    LabeledPicker {
        field: "recQuality"
        title: qsTr("녹화화질")
        vm: root.vm
    }
    LabeledPicker {
        field: "recTimeIndex"
        title: qsTr("녹화시간")
        vm: root.vm
    }
    RowLayout {
        spacing: 0

        TickBox {
            field: "isTimeSyncEnabled"
            text: qsTr("PC 시간 동기화")
            vm: root.vm
        }
        DateField {
            Layout.leftMargin: 10
            enabled: root.vm.isTimeSyncEnabled
            value: root.vm.changedDate
            onDateEdited: value => root.vm.changedDate = value
        }
        TimeField {
            Layout.leftMargin: 10
            enabled: root.vm.isTimeSyncEnabled
            value: root.vm.changedDate
            onTimeEdited: value => root.vm.changedDate = value
        }
    }
    Item { // keeps the row of a camera without the secret mode
        implicitHeight: secretMode.implicitHeight
        implicitWidth: secretMode.implicitWidth

        TickBox {
            id: secretMode

            field: "isSecretMode"
            text: qsTr("시크릿 모드")
            visible: root.vm.useSecretMode
            vm: root.vm
        }
    }
}
