import QtQuick
import QtQuick.Templates as T
import Vornex.Style

/// One tab. The tabs around it aren't this one's to command: whoever owns it says which one is checked.
T.TabButton {
    id: root

    horizontalPadding: 10
    implicitHeight: implicitContentHeight + topPadding + bottomPadding
    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    opacity: down ? 0.7 : 1
    verticalPadding: 6

    background: Rectangle {
        color: Theme.faded(Theme.gray, root.checked ? 0.25 : 0.12)
        radius: 6
    }
    contentItem: Text {
        color: root.checked ? "white" : Theme.gray
        font: root.font
        text: root.text
        textFormat: Text.PlainText
    }

    Accessible.name: text
    Accessible.onPressAction: clicked()
    Keys.onEnterPressed: clicked()
    Keys.onReturnPressed: clicked()

    FocusRing {
        radius: 6
        visible: root.visualFocus
        z: 1
    }
}
