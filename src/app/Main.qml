import QtQuick
import QtQuick.Controls
import Vornex.App
import Vornex.Widgets

/// The main window. Its first size and place come from the code that shows it.
ApplicationWindow {
    id: root

    required property ContentView view

    color: Theme.window
    minimumHeight: 560
    minimumWidth: 860
    title: view.title

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

    Shortcut {
        sequence: "Ctrl+Q"
        onActivated: root.view.windowDelegate.windowShouldClose()
    }

    RootLayout {
        anchors.fill: parent
        viewModel: root.view.viewModel
    }

    OverlayMessage {
        readonly property bool isAsking: visible && buttonText !== ""
        property Item formerFocus: null // the keyboard goes back there after the answer

        anchors.centerIn: parent
        buttonText: root.view.overlay.button
        message: root.view.overlay.message
        title: root.view.overlay.title
        visible: root.view.overlay.isVisible
        onButtonTap: root.view.overlayButtonPressed()
        onIsAskingChanged: {
            if (isAsking) {
                formerFocus = root.activeFocusItem;
                forceActiveFocus();
            } else if (formerFocus) {
                formerFocus.forceActiveFocus();
            }
        }
    }

    ConfirmQuit {
        windowDelegate: root.view.windowDelegate
    }
}
