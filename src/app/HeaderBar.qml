import QtQuick

Item {
    id: root

    implicitHeight: 44

    Image {
        anchors.left: parent.left
        anchors.leftMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        source: "images/logo_halden.svg"
        sourceSize: Qt.size(132, 24)

        Accessible.name: "Vornex"
        Accessible.role: Accessible.Graphic
    }
}
