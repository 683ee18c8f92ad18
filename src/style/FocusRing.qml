import QtQuick

/// Shows which control the keyboard acts on.
Rectangle {
    anchors.fill: parent
    color: "transparent"
    border.color: Theme.accent
    border.width: 2
}
