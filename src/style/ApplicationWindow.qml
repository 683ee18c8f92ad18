import QtQuick
import QtQuick.Templates as T
import Vornex.Style

/// A window in the dark appearance, whatever the desktop's.
T.ApplicationWindow {
    color: Theme.window
    font.pixelSize: Theme.bodySize

    palette {
        base: Theme.field
        button: "#3a3a3a"
        buttonText: Theme.text
        highlight: Theme.accent
        highlightedText: "white"
        light: Theme.accent // behind a highlighted text
        mid: "#555555" // outlines
        placeholderText: "#9a9a9a"
        text: Theme.text
        window: Theme.window
        windowText: Theme.text
    }
}
