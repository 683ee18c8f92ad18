import QtQuick
import QtQuick.Layouts
import Vornex.Playback
import Vornex.Style
import Vornex.Widgets

/// The time, the slider and the length of the recording, and the car's speed.
RowLayout {
    id: root

    required property MultiTrackPlayer playerManager
    property int speedKmh: 0 ///< at the current time
    signal exportRequested ///< of the positions

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
    Text {
        id: speed

        objectName: "speed"
        Layout.preferredWidth: 80
        activeFocusOnTab: true
        color: Theme.faded(Theme.cyan, 0.7)
        font.pixelSize: Theme.footnoteSize
        horizontalAlignment: Text.AlignRight
        text: (root.hasPlayers ? root.speedKmh : 0) + " km/h"
        Accessible.role: Accessible.Button
        Accessible.name: text
        Accessible.description: qsTr("GPS 데이터를 SD 카드에 저장")
        Accessible.onPressAction: root.exportRequested()
        Keys.onReturnPressed: root.exportRequested()
        Keys.onSpacePressed: root.exportRequested()

        MouseArea {
            anchors.fill: parent
            onDoubleClicked: root.exportRequested()
        }
        FocusRing {
            visible: speed.activeFocus
        }
    }
}
