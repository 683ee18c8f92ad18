import QtQuick
import QtQuick.Controls.impl
import Vornex.Widgets

/// A square button with an icon, drawn in white whatever the desktop's theme.
PlainButton {
    id: root

    required property string system ///< freedesktop name of the icon

    implicitWidth: 34
    implicitHeight: 34
    padding: 9

    contentItem: IconImage {
        name: ThemeIcons.symbolicName(root.system)
        source: "qrc:/icons/" + root.system + ".svg"
        sourceSize.width: 16
        sourceSize.height: 16
        color: Theme.faded("white", 0.85)
    }
    background: Rectangle {
        color: Theme.faded("black", 0.18)
        border.color: Theme.faded("white", 0.06)
    }
}
