import QtQuick
import QtQuick.Controls
import Vornex.Settings

/// The settings window. Its size and place come from the code that shows it.
ApplicationWindow {
    id: root

    required property SettingsViewModel vm

    flags: Qt.Dialog | Qt.CustomizeWindowHint | Qt.WindowTitleHint | Qt.WindowSystemMenuHint | Qt.WindowCloseButtonHint | Qt.WindowStaysOnTopHint
    title: qsTr("블랙박스 설정")

    Connections {
        target: root.vm
        function onCloseRequested() {
            root.close();
        }
    }
    Shortcut {
        sequence: "Ctrl+W"
        onActivated: root.close()
    }
    SettingsLayout {
        anchors.fill: parent
        focus: true
        vm: root.vm
    }
}
