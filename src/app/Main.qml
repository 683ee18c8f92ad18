import QtQuick
import QtQuick.Controls
import Vornex.App
import Vornex.Settings
import Vornex.Widgets

/// The main window. Its first size and place come from the code that shows it.
ApplicationWindow {
    id: root

    required property ContentView view

    minimumHeight: 560
    minimumWidth: 860
    title: view.title

    Shortcut {
        sequence: "Ctrl+Q"
        onActivated: root.view.windowDelegate.windowShouldClose()
    }

    RootLayout {
        anchors.fill: parent
        viewModel: root.view.viewModel
        onSettingsRequested: root.view.settingsWindow.show(root)
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
        // The settings lie above this window.
        parent: (root.view.settingsWindow.window ?? root).Overlay.overlay
        windowDelegate: root.view.windowDelegate
    }
}
