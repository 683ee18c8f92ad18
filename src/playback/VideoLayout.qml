pragma ComponentBehavior: Bound
import QtQuick
import Vornex.Widgets

/// The video area: a grid of the channels, or one of them.
Item {
    id: root

    required property var players ///< the channels' TrackPlayers in order
    required property int videoMode ///< 0 is the grid, from 1 on that channel, or the last if there are fewer

    readonly property int channel: Math.min(videoMode, players.length)

    clip: true

    Loader {
        anchors.fill: parent
        sourceComponent: root.players.length === 0 ? nothing : root.videoMode === 0 ? grid : single
    }
    Component {
        id: nothing
        PlaceHolder {}
    }
    Component {
        id: grid
        MultiVideo {
            players: root.players
        }
    }
    Component {
        id: single
        VideoPlayer {
            player: root.players[root.channel - 1] ?? null
            name: "CH" + root.channel
        }
    }
}
