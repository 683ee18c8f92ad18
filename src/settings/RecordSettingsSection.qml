import QtQuick
import QtQuick.Layouts
import Vornex.Settings

/// Sound, and what triggers a recording.
GroupCard {
    id: root

    required property SettingsViewModel vm

    title: qsTr("설정")

    RowLayout {
        Layout.bottomMargin: 10
        spacing: 20

        TickBox {
            field: "isVoiceRecording"
            text: qsTr("음성 녹음")
            vm: root.vm
        }
        TickBox {
            field: "isVoiceGuide"
            text: qsTr("음성 안내")
            vm: root.vm
        }
        TickBox {
            field: "isEffectSound"
            text: qsTr("효과음")
            vm: root.vm
        }
    }
    LabeledSlider {
        field: "volumeIndex"
        maxLabel: qsTr("최대")
        minLabel: qsTr("사용안함")
        title: qsTr("시스템 볼륨")
        vm: root.vm
    }
    LabeledSlider {
        field: "eventSensitivity"
        title: qsTr("이벤트 감도")
        vm: root.vm
    }
    LabeledSlider {
        field: "motionSensitivity"
        title: qsTr("모션 감도")
        vm: root.vm
    }
}
