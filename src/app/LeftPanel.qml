import QtQuick
import QtQuick.Layouts
import Vornex.Playback
import Vornex.State

/// The pictures of the recording, and what plays it.
ColumnLayout {
    id: root

    required property AppViewModel viewModel

    spacing: 0

    VideoTab {
        Layout.bottomMargin: 8
        Layout.leftMargin: 10
        Layout.minimumHeight: 27
        Layout.rightMargin: 10
        Layout.topMargin: 8
        playerCount: root.viewModel.videoPlayerObjects.length
        videoMode: root.viewModel.videoMode
        onSelect: index => root.viewModel.videoMode = index
    }
    VideoLayout {
        Layout.fillHeight: true
        Layout.fillWidth: true
        Layout.leftMargin: 10
        Layout.rightMargin: 10
        players: root.viewModel.videoPlayerObjects
        videoMode: root.viewModel.videoMode
    }
    SeekControlBar {
        Layout.fillWidth: true
        Layout.leftMargin: 10
        Layout.rightMargin: 10
        Layout.topMargin: 10
        playerManager: root.viewModel.playerManager
    }
    PlayButtonBar {
        Layout.alignment: Qt.AlignHCenter
        Layout.bottomMargin: 10
        Layout.leftMargin: 10
        Layout.rightMargin: 10
        Layout.topMargin: 10
        playerManager: root.viewModel.playerManager
        onNextRequested: root.viewModel.next()
        onPreviousRequested: root.viewModel.previous()
    }
}
