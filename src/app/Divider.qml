import QtQuick

/// A line between two areas: as thin as can be in the direction that its layout doesn't stretch.
Rectangle {
    color: Qt.rgba(1, 1, 1, 0.12)
    implicitHeight: 1
    implicitWidth: 1
}
