import QtQuick
import QtQuick.Layouts
import Vornex.Settings

/// The driving assistants, as far as the camera has them.
ColumnLayout {
    id: root

    required property SettingsViewModel vm

    spacing: 5

    GroupCard {
        Layout.fillWidth: true
        title: qsTr("안전운행기능(ADAS) 설정")

        GridLayout {
            columnSpacing: 8
            columns: 2
            rowSpacing: 8

            TickBox {
                Layout.preferredWidth: 240
                enabled: root.vm.useLdws
                isOn: root.vm.isLdws
                text: qsTr("차선이탈감지 기능")
                onEdited: isOn => root.vm.isLdws = isOn
            }
            TickBox {
                enabled: root.vm.useFvsa
                isOn: root.vm.isFvsa
                text: qsTr("앞차출발알림 기능")
                onEdited: isOn => root.vm.isFvsa = isOn
            }
            TickBox {
                Layout.preferredWidth: 240
                enabled: root.vm.useSafeDrive
                isOn: root.vm.isSafeDrive
                text: qsTr("안전운전도우미")
                onEdited: isOn => root.vm.isSafeDrive = isOn
            }
            TickBox {
                isOn: root.vm.isAdasAlarm
                text: qsTr("ADAS알림음")
                onEdited: isOn => root.vm.isAdasAlarm = isOn
            }
        }
    }
    GroupCard {
        Layout.fillWidth: true
        title: qsTr("차선이탈민감도 설정")

        LabeledSlider {
            from: 0
            maxLabel: qsTr("민감")
            minLabel: qsTr("둔감")
            title: qsTr("좌측")
            to: 4
            value: Number(root.vm.ldwsLSensitivity)
            onEdited: value => root.vm.ldwsLSensitivity = value
        }
        LabeledSlider {
            from: 0
            maxLabel: qsTr("민감")
            minLabel: qsTr("둔감")
            title: qsTr("우측")
            to: 4
            value: Number(root.vm.ldwsRSensitivity)
            onEdited: value => root.vm.ldwsRSensitivity = value
        }
    }
}
