import QtQuick
import QtQuick.Layouts
import Vornex.Playback
import Vornex.Widgets

/// The time, the slider and the length of the recording.
RowLayout {
    id: root

    required property MultiTrackPlayer playerManager

    readonly property bool hasPlayers: playerManager.videoPlayerCount > 0
    readonly property real keySeconds: 5 ///< what an arrow key skips

    spacing: 10

    TimeLabel {
        Layout.preferredWidth: 50
        seconds: root.playerManager.currentTime
        color: Theme.faded(Theme.cyan, 0.7)
    }
    CustomSlider {
        Layout.fillWidth: true
        Layout.topMargin: 5
        Layout.leftMargin: 10
        Layout.rightMargin: 10
        enabled: root.hasPlayers
        name: qsTr("재생 위치")
        value: root.playerManager.progress
        stepSize: root.playerManager.duration > root.keySeconds ? root.keySeconds / root.playerManager.duration : 1
        onMoved: value => root.playerManager.progress = value
        onEditingChanged: editing => {
            root.playerManager.isScrubbing = editing;
            if (!editing)
                root.playerManager.seek(root.playerManager.progress);
        }
    }
    TimeLabel {
        Layout.preferredWidth: 50
        seconds: root.hasPlayers ? root.playerManager.duration : 0
        color: Theme.faded("white", 0.85)
    }
}
