import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Vornex.Settings
import Vornex.Style

/// Everything else that the camera can be told.
GroupCard {
    id: root

    required property SettingsViewModel vm

    readonly property list<string> gmtList: {
        const list = [];
        for (let hours = -12; hours <= 12; ++hours)
            list.push("GMT %1%2:00".arg(hours < 0 ? "-" : "+").arg(String(Math.abs(hours)).padStart(2, "0")));
        return list;
    }
    readonly property list<string> voltages: ["OFF", "11.8v / 23.6v", "12.0v / 24.0v", "12.2v / 24.4v", "12.4v / 24.8v"]
    readonly property list<string> hybridVoltages: ["12.7v (HYBRID)", "12.9v (HYBRID)", "13.1v (HYBRID)", "13.3v (HYBRID)"]

    title: qsTr("기타설정")

    LabeledPicker {
        items: root.gmtList
        selection: Number(root.vm.gmtIndex)
        title: qsTr("세계표준시(시간)")
        onEdited: index => root.vm.gmtIndex = index
    }
    LabeledPicker {
        items: root.vm.useHybrid ? Array.from(root.voltages).concat(Array.from(root.hybridVoltages)) : root.voltages
        selection: Number(root.vm.limitVoltIndex)
        title: qsTr("전압설정(V)")
        onEdited: index => root.vm.limitVoltIndex = index
    }
    Label {
        Layout.fillWidth: true
        color: Theme.red
        text: qsTr("* 저전압 차단 OFF 시 차량 배터리 방전 위험이 있습니다.")
        wrapMode: Text.Wrap
    }
    LabeledPicker {
        items: [qsTr("상시전원"), qsTr("1분"), qsTr("3분"), qsTr("시계화면")]
        selection: Number(root.vm.lcdOffTimeIndex)
        title: qsTr("LCD시간")
        onEdited: index => root.vm.lcdOffTimeIndex = index
    }
    LabeledPicker {
        items: [qsTr("저화질"), qsTr("고화질")]
        selection: Number(root.vm.recQuality)
        title: qsTr("녹화화질")
        onEdited: index => root.vm.recQuality = index
    }
    LabeledPicker {
        items: [qsTr("Off"), qsTr("6시간"), qsTr("12시간"), qsTr("24시간"), qsTr("48시간")]
        selection: Number(root.vm.recTimeIndex)
        title: qsTr("녹화시간")
        onEdited: index => root.vm.recTimeIndex = index
    }
    RowLayout {
        spacing: 0

        TickBox {
            isOn: root.vm.isTimeSyncEnabled
            text: qsTr("PC 시간 동기화")
            onEdited: isOn => root.vm.isTimeSyncEnabled = isOn
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

            isOn: root.vm.isSecretMode
            text: qsTr("시크릿 모드")
            visible: root.vm.useSecretMode
            onEdited: isOn => root.vm.isSecretMode = isOn
        }
    }
}
