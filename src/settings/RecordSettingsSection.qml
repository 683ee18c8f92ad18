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
            isOn: root.vm.isVoiceRecording
            text: qsTr("음성 녹음")
            onEdited: isOn => root.vm.isVoiceRecording = isOn
        }
        TickBox {
            isOn: root.vm.isVoiceGuide
            text: qsTr("음성 안내")
            onEdited: isOn => root.vm.isVoiceGuide = isOn
        }
        TickBox {
            isOn: root.vm.isEffectSound
            text: qsTr("효과음")
            onEdited: isOn => root.vm.isEffectSound = isOn
        }
    }
    LabeledSlider {
        from: 0
        maxLabel: qsTr("최대")
        minLabel: qsTr("사용안함")
        title: qsTr("시스템 볼륨")
        to: 3
        value: Number(root.vm.volumeIndex)
        onEdited: value => root.vm.volumeIndex = value
    }
    LabeledSlider {
        from: 0
        maxLabel: qsTr("민감")
        minLabel: qsTr("둔감")
        title: qsTr("이벤트 감도")
        to: 2
        value: Number(root.vm.eventSensitivity)
        onEdited: value => root.vm.eventSensitivity = value
    }
    LabeledSlider {
        from: 0
        maxLabel: qsTr("민감")
        minLabel: qsTr("둔감")
        title: qsTr("모션 감도")
        to: 2
        value: Number(root.vm.motionSensitivity)
        onEdited: value => root.vm.motionSensitivity = value
    }
}
