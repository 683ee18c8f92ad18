import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Vornex.Settings
import Vornex.Style

/// The camera's own network. The rules are told and not enforced.
GroupCard {
    id: root

    required property SettingsViewModel vm

    component Rule: Label {
        Layout.fillWidth: true
        color: Theme.red
        font.pixelSize: Theme.footnoteSize
        wrapMode: Text.Wrap
    }

    title: "Wi-Fi"

    TextEntry {
        Layout.fillWidth: true
        placeholderText: "SSID"
        value: root.vm.wifiSSID
        onEdited: value => root.vm.wifiSSID = value
    }
    PasswordEntry {
        Layout.fillWidth: true
        placeholderText: qsTr("암호")
        value: root.vm.wifiPW
        onEdited: value => root.vm.wifiPW = value
    }
    ColumnLayout {
        spacing: 2

        Rule {
            text: qsTr("* SSID는 4-14자, 암호는 8-10자 이여야 합니다.")
        }
        Rule {
            text: qsTr("* 문자 형식은 영문, 숫자, 특수문자(!, -, _)만 허용합니다.")
        }
    }
}
