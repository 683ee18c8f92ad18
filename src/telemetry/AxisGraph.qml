import QtQuick
import Vornex.Telemetry

/// One axis: the zero line, and the data line up to the play position.
Item {
    id: root
    required property GGraphBuffer buffer
    required property color color
    required property double currentTime // seconds
    required property double duration // seconds

    readonly property double share: duration > 0 ? Math.min(Math.max(currentTime / duration, 0.001), 1) : 0

    Rectangle {
        y: Math.round(parent.height * 0.5)
        width: parent.width
        height: 1
        color: "gray"
        opacity: 0.25
    }
    Item {
        width: Math.max(root.share * root.width, 2)
        height: root.height
        clip: true
        GLineGraph {
            width: root.width
            height: root.height
            buffer: root.buffer
            color: root.color
            duration: root.duration
        }
    }
}
