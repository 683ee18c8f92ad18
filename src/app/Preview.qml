import QtQuick
import Vornex.Playback
import Vornex.Widgets

/// One channel in small, or what is declared inside it: the map. Else a placeholder.
Item {
    id: root

    required property int channel ///< -1 for none; a number beyond the last channel shows the first
    required property int mapChannel
    required property var players ///< the channels' TrackPlayers in order

    readonly property bool isEmpty: players.length === 0 || channel < 0
    readonly property bool isMap: !isEmpty && channel === mapChannel
    default property alias map: mapArea.data
    readonly property int shownChannel: channel < players.length ? channel : 0

    PlaceHolder {
        anchors.fill: parent
        visible: root.isEmpty
    }
    VideoPlayer {
        anchors.fill: parent
        name: qsTr("미리보기 CH%1").arg(root.shownChannel + 1)
        player: root.isEmpty || root.isMap ? null : root.players[root.shownChannel] ?? null
        visible: !root.isEmpty && !root.isMap
    }
    Item {
        id: mapArea

        anchors.fill: parent
        visible: root.isMap
    }
}
