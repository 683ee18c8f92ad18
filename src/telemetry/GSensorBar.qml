import QtQuick
import QtQuick.Layouts
import Vornex.Telemetry
import Vornex.Style

/// The three accelerometer lines, drawn as the recording plays, with their legend.
RowLayout {
    id: root
    required property MediaDataViewModel mediaData
    required property double currentTime // seconds, of the player
    required property double duration // seconds
    required property bool isScrubbing
    signal exportRequested

    function rebuild() {
        if (visible)
            graph.rebuildSoon();
    }

    spacing: 10

    GSensorGraph {
        id: graph
        mediaData: root.mediaData
        currentTime: root.currentTime
        isScrubbing: root.isScrubbing
        // After a jump the graph doesn't get by with single times.
        onCurrentTimeChanged: {
            if (!isComplete())
                root.rebuild();
        }
    }
    Connections {
        target: root.mediaData
        function onEventsChanged() {
            root.rebuild();
        }
    }
    Component.onCompleted: graph.rebuildGraph()
    onVisibleChanged: visible ? graph.rebuildGraph() : graph.clearGraph()

    Rectangle {
        Layout.fillWidth: true
        Layout.fillHeight: true
        radius: 8
        color: Qt.rgba(0.5, 0.5, 0.5, 0.1)
        Accessible.role: Accessible.Graphic
        Accessible.name: qsTr("가속도 그래프")

        ColumnLayout {
            anchors.fill: parent
            anchors.margins: 10
            spacing: 0
            AxisGraph {
                Layout.fillWidth: true
                Layout.fillHeight: true
                buffer: graph.bufferX
                color: Theme.blue
                currentTime: root.currentTime
                duration: root.duration
            }
            AxisGraph {
                Layout.fillWidth: true
                Layout.fillHeight: true
                buffer: graph.bufferY
                color: Theme.green
                currentTime: root.currentTime
                duration: root.duration
            }
            AxisGraph {
                Layout.fillWidth: true
                Layout.fillHeight: true
                buffer: graph.bufferZ
                color: Theme.red
                currentTime: root.currentTime
                duration: root.duration
            }
        }
    }
    Item {
        id: legend
        Layout.preferredWidth: 100
        Layout.fillHeight: true
        activeFocusOnTab: true
        Accessible.role: Accessible.Button
        Accessible.name: qsTr("G-Sensor 데이터를 SD 카드에 저장")
        Accessible.onPressAction: root.exportRequested()
        Keys.onReturnPressed: root.exportRequested()
        Keys.onSpacePressed: root.exportRequested()

        Column {
            anchors.verticalCenter: parent.verticalCenter
            spacing: 10
            LegendItem { name: qsTr("G-Sensor X"); color: Theme.blue }
            LegendItem { name: qsTr("G-Sensor Y"); color: Theme.green }
            LegendItem { name: qsTr("G-Sensor Z"); color: Theme.red }
        }
        MouseArea {
            anchors.fill: parent
            onDoubleClicked: root.exportRequested()
        }
        FocusRing {
            radius: 6
            visible: legend.activeFocus
        }
    }
}
