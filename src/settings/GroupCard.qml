import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Vornex.Style

/// A titled outline around a group of the form's rows.
Rectangle {
    id: root

    required property string title
    default property alias content: rows.data

    border.color: Theme.faded(Theme.gray, 0.4)
    border.width: 1
    color: "transparent"
    implicitHeight: rows.implicitHeight + 20
    implicitWidth: rows.implicitWidth + 20
    radius: 6

    Accessible.name: title
    Accessible.role: Accessible.Grouping

    ColumnLayout {
        id: rows

        anchors.fill: parent
        anchors.margins: 10
        spacing: 8

        Label {
            Layout.bottomMargin: 5
            font.pixelSize: Theme.footnoteSize
            font.weight: Font.DemiBold
            text: root.title
        }
    }
}
