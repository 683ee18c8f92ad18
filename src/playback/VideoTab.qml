import QtQuick
import Vornex.Widgets

/// Chooses between the grid, the channels and the map. The fifth channel has no tab here.
TabButton {
    id: root

    required property int playerCount
    required property int videoMode ///< 0 the grid, from 1 on that channel, -1 the map
    signal chooseMode(int mode)

    readonly property var names: ["ALL", "CH1", "CH2", "CH3", "CH4"]

    function showMode() {
        selectedIndex = videoMode < 0 ? items.length - 1 : videoMode;
    }

    name: qsTr("영상 채널")
    items: playerCount === 0 ? [] : names.slice(0, playerCount + 1).concat("Map View")
    Component.onCompleted: showMode()
    onVideoModeChanged: showMode()
    onItemsChanged: showMode()
    onSelect: index => chooseMode(index === items.length - 1 ? -1 : index)
}
