import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Vornex.Session
import Vornex.Widgets

/// The preview of one channel, and the list of recordings by kind.
ColumnLayout {
    id: root

    readonly property int mapChannel: 4 ///< what videoChannel is for the map, however many channels there are
    readonly property var players: viewModel.videoPlayerObjects
    required property AppViewModel viewModel

    spacing: 0

    TabButton {
        Layout.bottomMargin: 8
        Layout.leftMargin: 10
        Layout.rightMargin: 10
        Layout.topMargin: 8
        Layout.minimumHeight: 27
        initialIndex: root.viewModel.videoChannel
        items: root.players.length === 0 ? [] : root.players.slice(0, 4).map((player, index) => "CH" + (index + 1)).concat("Map View")
        name: qsTr("미리보기 채널")
        reset: root.viewModel.videoChannel < 0
        onSelect: index => root.viewModel.videoChannel = index === items.length - 1 ? root.mapChannel : index
    }
    Preview {
        Layout.fillWidth: true
        Layout.leftMargin: 10
        Layout.preferredHeight: 260
        Layout.rightMargin: 10
        channel: root.viewModel.videoChannel
        mapChannel: root.mapChannel
        players: root.players

        CarMap {
            anchors.fill: parent
            viewModel: root.viewModel
        }
    }
    Divider {
        Layout.bottomMargin: 10
        Layout.fillWidth: true
        Layout.topMargin: 10
    }
    TabButton {
        Layout.bottomMargin: 10
        Layout.leftMargin: 10
        Layout.rightMargin: 10
        initialIndex: root.viewModel.selectedTab
        items: [qsTr("상시"), qsTr("이벤트"), qsTr("주차"), qsTr("수동"), qsTr("보관"), qsTr("전체")]
        name: qsTr("녹화 종류")
        reset: root.viewModel.uploaded
        onSelect: index => root.viewModel.chooseTab(index)
    }
    CheckBox {
        id: selectAll

        Layout.bottomMargin: 10
        Layout.leftMargin: 10
        checked: root.viewModel.isAllChecked
        enabled: root.viewModel.fileCount > 0 && !root.viewModel.uploaded
        leftPadding: 12
        text: qsTr("전체선택")

        onCheckedChanged: root.viewModel.setAllChecked(checked)
    }
    FileList {
        Layout.bottomMargin: 10
        Layout.fillHeight: true
        Layout.fillWidth: true
        Layout.leftMargin: 10
        Layout.rightMargin: 10
        viewModel: root.viewModel
    }
}
