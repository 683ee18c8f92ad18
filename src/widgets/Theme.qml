pragma Singleton
import QtQuick

/// The colours and fonts that all views share. The window is dark.
QtObject {
    readonly property color window: "#1e1e1e"
    readonly property color card: "#2c2c2e" // of a dialog, over the window
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

    // Pixel sizes of the headline and the footnote font.
    readonly property int headlineSize: 15
    readonly property int footnoteSize: 12

    function faded(colour: color, opacity: real): color {
        return Qt.alpha(colour, opacity);
    }
}
