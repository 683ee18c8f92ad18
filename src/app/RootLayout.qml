import QtQuick
import QtQuick.Layouts
import Vornex.Session

ColumnLayout {
    id: root

    required property AppViewModel viewModel
    signal settingsRequested

    spacing: 0

    HeaderBar {
        Layout.fillWidth: true
    }
    Divider {
        Layout.fillWidth: true
    }
    RowLayout {
        Layout.fillHeight: true
        Layout.fillWidth: true
        spacing: 0

        LeftPanel {
            Layout.fillHeight: true
            Layout.fillWidth: true
            Layout.minimumWidth: 0
            viewModel: root.viewModel
            onSettingsRequested: root.settingsRequested()
        }
        Divider {
            Layout.fillHeight: true
        }
        RightPanel {
            Layout.fillHeight: true
            Layout.preferredWidth: 460
            Layout.minimumWidth: 460
            Layout.maximumWidth: 460
            viewModel: root.viewModel
        }
    }
}
