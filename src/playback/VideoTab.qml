import QtQuick
import Vornex.Widgets

/// Chooses between the grid and the channels. The fifth channel has no tab here.
TabButton {
    id: root

    required property int playerCount
    required property int videoMode

    readonly property var names: ["ALL", "CH1", "CH2", "CH3", "CH4"]

    name: qsTr("영상 채널")
    items: playerCount === 0 ? [] : names.slice(0, playerCount + 1)
    initialIndex: videoMode
    onVideoModeChanged: selectedIndex = videoMode
    onPlayerCountChanged: selectedIndex = videoMode
}
