import QtQuick
import QtQuick.Layouts
import Vornex.Playback
import Vornex.Session
import Vornex.Telemetry

/// The pictures of the recording, and what plays it.
ColumnLayout {
    id: root

    required property AppViewModel viewModel
    signal settingsRequested

    spacing: 0

    VideoTab {
        Layout.bottomMargin: 8
        Layout.leftMargin: 10
        Layout.minimumHeight: 27
        Layout.rightMargin: 10
        Layout.topMargin: 8
        playerCount: root.viewModel.videoPlayerObjects.length
        videoMode: root.viewModel.videoMode
        onChooseMode: mode => root.viewModel.videoMode = mode
    }
    VideoLayout {
        Layout.fillHeight: true
        Layout.fillWidth: true
        Layout.leftMargin: 10
        Layout.rightMargin: 10
        players: root.viewModel.videoPlayerObjects
        videoMode: root.viewModel.videoMode

        CarMap {
            anchors.fill: parent
            viewModel: root.viewModel
        }
    }
    SeekControlBar {
        Layout.fillWidth: true
        Layout.leftMargin: 10
        Layout.rightMargin: 10
        Layout.topMargin: 10
        playerManager: root.viewModel.playerManager
        speedKmh: {
            void root.viewModel.mediaData.id; // other data, another speed
            return root.viewModel.mediaData.speedKmh(root.viewModel.playerManager.currentTime);
        }
        onExportRequested: root.viewModel.exportLocation()
    }
    PlayButtonBar {
        Layout.alignment: Qt.AlignHCenter
        Layout.leftMargin: 10
        Layout.rightMargin: 10
        Layout.topMargin: 10
        playerManager: root.viewModel.playerManager
        onNextRequested: root.viewModel.next()
        onPreviousRequested: root.viewModel.previous()
        onSettingsRequested: root.settingsRequested()
    }
    GSensorBar {
        Layout.fillWidth: true
        Layout.margins: 10
        Layout.maximumHeight: 100
        Layout.minimumHeight: 100
        currentTime: root.viewModel.playerManager.currentTime
        duration: root.viewModel.playerManager.duration
        isScrubbing: root.viewModel.playerManager.isScrubbing
        mediaData: root.viewModel.mediaData
        onExportRequested: root.viewModel.exportGSensor()
    }
}
