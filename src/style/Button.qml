import QtQuick
import QtQuick.Controls.impl
import QtQuick.Templates as T
import Vornex.Style

/// Highlighted it is what most people will want; flat it is a cell of a bar.
T.Button {
    id: root

    readonly property color shade: highlighted ? "white" : flat ? Theme.faded("white", 0.85) : palette.buttonText

    font.pixelSize: flat ? Theme.bodySize : Theme.titleSize
    horizontalPadding: flat ? 0 : 16
    icon.color: shade
    icon.height: 16
    icon.width: 16
    implicitHeight: implicitContentHeight + topPadding + bottomPadding
    implicitWidth: Math.max(flat ? 0 : 56, implicitContentWidth + leftPadding + rightPadding)
    opacity: !enabled ? 0.4 : down ? 0.7 : 1
    verticalPadding: flat ? 0 : 6

    background: Rectangle {
        border.color: Theme.faded("white", root.highlighted ? 0 : root.flat ? 0.06 : 0.12)
        color: root.highlighted ? Theme.accent : root.flat ? Theme.faded("black", 0.18) : root.palette.button
        radius: root.flat ? 0 : 6
    }
    contentItem: IconLabel {
        color: root.shade
        display: root.display
        font: root.font
        icon: root.icon
        text: root.text
    }

    Accessible.name: text
    Accessible.readOnly: !enabled
    Accessible.onPressAction: {
        if (enabled)
            clicked();
    }
    Keys.onEnterPressed: clicked()
    Keys.onReturnPressed: clicked()

    FocusRing {
        border.color: root.highlighted ? "white" : Theme.accent
        radius: (root.background as Rectangle)?.radius ?? 0
        visible: root.visualFocus
        z: 1
    }
}
