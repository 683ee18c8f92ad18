pragma Singleton
import QtQuick

/// The colours and fonts that all views share. The window is dark.
QtObject {
    readonly property color window: "#1e1e1e"
    readonly property color text: "#e6e6e6"
    readonly property color accent: "#0a84ff"
    readonly property color gray: "gray"
    readonly property color cyan: "cyan"

    // Pixel sizes of the headline and the footnote font.
    readonly property int headlineSize: 15
    readonly property int footnoteSize: 12

    function faded(colour: color, opacity: real): color {
        return Qt.alpha(colour, opacity);
    }
}
