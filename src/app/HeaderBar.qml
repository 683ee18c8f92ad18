import QtQuick

Item {
    id: root

    implicitHeight: 44

    Image {
        anchors.left: parent.left
        anchors.leftMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        source: "images/logo_halden.svg"
        sourceSize.height: 24
        sourceSize.width: 132

        Accessible.name: "Vornex"
        Accessible.role: Accessible.Graphic
    }
}
