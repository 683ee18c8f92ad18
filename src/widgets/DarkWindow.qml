import QtQuick
import QtQuick.Controls

/// A window in the dark appearance.
ApplicationWindow {
    color: Theme.window

    // The style brings its own light palette and passes over the application's.
    palette {
        alternateBase: "#262626"
        base: "#3c3c3c"
        brightText: "white"
        button: "#3a3a3a"
        buttonText: Theme.text
        dark: "#141414"
        highlight: Theme.accent
        highlightedText: "white"
        light: "#505050"
        mid: "#2c2c2c"
        midlight: "#454545"
        placeholderText: "#9a9a9a"
        shadow: "black"
        text: Theme.text
        toolTipBase: "#3a3a3a"
        toolTipText: Theme.text
        window: Theme.window
        windowText: Theme.text

        disabled {
            buttonText: "#777777"
            text: "#777777"
            windowText: "#777777"
        }
    }
}
