import QtQuick
import Vornex.Playback
import Vornex.Widgets

/// The transport buttons.
Row {
    id: root

    required property MultiTrackPlayer playerManager
    signal previousRequested
    signal nextRequested
    signal settingsRequested

    readonly property bool hasPlayers: playerManager.videoPlayerCount > 0

    ImageButton {
        name: "stop"
        system: "media-playback-stop"
        enabled: root.hasPlayers && !root.playerManager.isStopped
        onClicked: root.playerManager.stop()
    }
    ImageButton {
        name: "previous"
        system: "media-skip-backward"
        enabled: root.hasPlayers
        onClicked: root.previousRequested()
    }
    ImageButton {
        name: "backward"
        system: "media-seek-backward"
        enabled: root.hasPlayers
        onClicked: root.playerManager.step(-10)
    }
    ImageButton {
        name: root.playerManager.isPlaying ? "pause" : "play"
        system: root.playerManager.isPlaying ? "media-playback-pause" : "media-playback-start"
        enabled: root.hasPlayers && root.playerManager.progress !== 1
        onClicked: root.playerManager.isPlaying ? root.playerManager.pause() : root.playerManager.play()
    }
    ImageButton {
        name: "forward"
        system: "media-seek-forward"
        enabled: root.hasPlayers
        onClicked: root.playerManager.step(10)
    }
    ImageButton {
        name: "next"
        system: "media-skip-forward"
        enabled: root.hasPlayers
        onClicked: root.nextRequested()
    }
    ImageButton {
        name: "settings"
        system: "emblem-system"
        onClicked: {
            if (root.playerManager.isPlaying)
                root.playerManager.pause();
            root.settingsRequested();
        }
    }
}
