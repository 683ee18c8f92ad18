pragma ComponentBehavior: Bound
import QtQuick
import Vornex.Widgets

/// The first four channels, always two by two.
Grid {
    id: root

    required property var players ///< the channels' TrackPlayers in order

    columns: 2

    Repeater {
        model: 4

        Item {
            id: cell

            required property int index
            readonly property QtObject player: root.players[index] ?? null

            width: root.width / 2
            height: root.height / 2

            PlaceHolder {
                anchors.fill: parent
                visible: !cell.player
            }
            VideoPlayer {
                anchors.fill: parent
                visible: !!cell.player
                player: cell.player
                name: "CH" + (cell.index + 1)
            }
        }
    }
}
