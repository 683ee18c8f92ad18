import QtQuick
import Vornex.Widgets

/// The video area: a grid of the channels, one of them, or what is declared inside it: the map.
Item {
    id: root

    required property var players ///< the channels' TrackPlayers in order
    required property int videoMode ///< 0 is the grid, from 1 on that channel, or the last if there are fewer; -1 the map
    default property alias map: mapArea.data

    readonly property bool hasPlayers: players.length > 0
    readonly property int channel: Math.min(videoMode, players.length)

    clip: true

    PlaceHolder {
        anchors.fill: parent
        visible: !root.hasPlayers
    }
    MultiVideo {
        anchors.fill: parent
        visible: root.hasPlayers && root.videoMode === 0
        players: root.players
    }
    VideoPlayer {
        anchors.fill: parent
        visible: root.channel > 0
        player: root.players[root.channel - 1] ?? null
        name: "CH" + root.channel
    }
    Item {
        id: mapArea
        anchors.fill: parent
        visible: root.hasPlayers && root.videoMode < 0
    }
}
