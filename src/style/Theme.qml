pragma Singleton
import QtQuick

/// The colours and the sizes of text that all views share. The window is dark.
QtObject {
    readonly property color window: "#1e1e1e"
    readonly property color card: "#2c2c2e" // of a dialog, over the window
    readonly property color field: "#2a2a2a" // that is typed into
    readonly property color text: "#e6e6e6"
    readonly property color secondaryText: "#a0a0a0"
    readonly property color accent: "#0a84ff"
    readonly property color gray: "gray"
    readonly property color cyan: "cyan"
    readonly property color blue: "#0a84ff"
    readonly property color pink: "#ff375f"
    readonly property color green: "#30d158"
    readonly property color yellow: "#ffd60a"
    readonly property color red: "#ff453a"

    // In pixels. Controls have bodySize unless they say otherwise.
    readonly property int headlineSize: 15
    readonly property int titleSize: 13
    readonly property int bodySize: 12
    readonly property int footnoteSize: 11
    readonly property int captionSize: 10
    readonly property int arrowSize: 7

    function faded(colour: color, opacity: real): color {
        return Qt.alpha(colour, opacity);
    }
}
