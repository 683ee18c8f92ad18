import QtQuick.Controls
import Vornex.Style

/// A square button with an icon, drawn in white whatever the desktop's theme.
Button {
    required property string name ///< for screen readers
    required property string system ///< freedesktop name of the icon

    display: Button.IconOnly
    flat: true
    icon.name: ThemeIcons.symbolicName(system)
    icon.source: "qrc:/icons/" + system + ".svg"
    implicitHeight: 34
    implicitWidth: 34
    text: name
}
