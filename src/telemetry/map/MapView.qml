import QtQuick
import Vornex.Map
import Vornex.Telemetry
import Vornex.Style

/// Where the car was at the player's time, on a map.
Item {
    id: root

    required property MediaDataViewModel mediaData
    required property double currentTime // seconds, of the player
    required property string tileAddress // of the map service, with {z}, {x} and {y}; empty for none
    required property string attribution // to the map service

    readonly property alias page: loader.item
    property bool wasShown: false

    function showPosition() {
        page?.coordinator.update(position.latitude, position.longitude);
    }
    // The page stays once it is there: it keeps the trail and the user's view of it.
    function load() {
        if (!visible || wasShown || !MapEngine.isAvailable)
            return;
        wasShown = true;
        loader.setSource("GoogleMap.qml", { tileAddress: root.tileAddress, attribution: root.attribution });
    }
    onVisibleChanged: load()
    Component.onCompleted: load()

    MapPosition {
        id: position
        mediaData: root.mediaData
        currentTime: root.currentTime
        onRedrawn: root.showPosition()
    }
    Connections {
        target: root.page?.coordinator ?? null
        function onPageReady() {
            root.showPosition();
        }
    }
    Loader {
        id: loader
        anchors.fill: parent
    }
    Text {
        anchors.centerIn: parent
        visible: !MapEngine.isAvailable || loader.status === Loader.Error || (root.page?.hasFailed ?? false)
        text: MapEngine.isAvailable ? qsTr("지도를 표시할 수 없습니다.") : qsTr("지도 기능 없이 빌드된 프로그램입니다.")
        color: Theme.gray
        font.pixelSize: Theme.bodySize
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
}
