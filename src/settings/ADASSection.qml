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
                field: "isLdws"
                text: qsTr("차선이탈감지 기능")
                vm: root.vm
            }
            TickBox {
                enabled: root.vm.useFvsa
                field: "isFvsa"
                text: qsTr("앞차출발알림 기능")
                vm: root.vm
            }
            TickBox {
                Layout.preferredWidth: 240
                enabled: root.vm.useSafeDrive
                field: "isSafeDrive"
                text: qsTr("안전운전도우미")
                vm: root.vm
            }
            TickBox {
                field: "isAdasAlarm"
                text: qsTr("ADAS알림음")
                vm: root.vm
            }
        }
    }
    GroupCard {
        Layout.fillWidth: true
        title: qsTr("차선이탈민감도 설정")

        LabeledSlider {
            field: "ldwsLSensitivity"
            title: qsTr("좌측")
            vm: root.vm
        }
        LabeledSlider {
            field: "ldwsRSensitivity"
            title: qsTr("우측")
            vm: root.vm
        }
    }
}
