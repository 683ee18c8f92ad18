import QtQuick
import Vornex.Playback
import Vornex.Widgets

/// One channel in small, or a placeholder.
Item {
    id: root

    required property int channel ///< -1 for none; a number beyond the last channel shows the first
    required property var players ///< the channels' TrackPlayers in order

    readonly property bool isEmpty: players.length === 0 || channel < 0
    readonly property int shownChannel: channel < players.length ? channel : 0

    PlaceHolder {
        anchors.fill: parent
        visible: root.isEmpty
    }
    VideoPlayer {
        anchors.fill: parent
        name: qsTr("미리보기 CH%1").arg(root.shownChannel + 1)
        player: root.isEmpty ? null : root.players[root.shownChannel]
        visible: !root.isEmpty
    }
}
