import QtQuick
import QtQuick.Layouts
import Vornex.Settings

/// What the camera says about itself, and this program about itself.
GroupCard {
    id: root

    required property SettingsViewModel vm

    component PaddedRow: InfoRow {
        Layout.fillWidth: true
        Layout.rightMargin: 5
    }

    title: qsTr("버전 정보")

    PaddedRow {
        title: qsTr("모델명")
        value: root.vm.modelName
    }
    PaddedRow {
        title: qsTr("펌웨어")
        value: root.vm.fwVersion
    }
    PaddedRow {
        title: root.vm.applicationName
        value: root.vm.applicationVersion
    }
    PaddedRow {
        title: "DB Version"
        value: root.vm.safeDBversion
    }
}
