import QtQuick
import QtTest
import Vornex.Playback

Item {
    id: root
    width: 400
    height: 300

    property int mode: 0

    Rectangle {
        anchors.fill: parent
        color: "#1e1e1e"
    }
    VideoTab {
        id: tabs
        playerCount: rig.player.videoPlayerCount
        videoMode: root.mode
        onChooseMode: mode => root.mode = mode
    }
    VideoLayout {
        id: layout
        y: 60
        width: 320
        height: 200
        players: rig.players
        videoMode: root.mode

        Rectangle { // in place of the map
            anchors.fill: parent
            color: "#ff00ff"
        }
    }

    TestCase {
        name: "Layouts"
        when: windowShown

        readonly property var colours: ["#0000ff", "#ff0000", "#00ff00", "#ffff00", "#ffffff"]

        /// What is shown at a place given in shares of the layout: a channel from 1, or 0 for no picture.
        function channelAt(x: real, y: real): int {
            const picture = grabImage(layout);
            const seen = picture.pixel(x * layout.width, y * layout.height);
            const near = (a, b) => Math.abs(a - b) < 0.03;
            return colours.findIndex(name => {
                const colour = Qt.color(name);
                return near(seen.r, colour.r) && near(seen.g, colour.g) && near(seen.b, colour.b);
            }) + 1;
        }

        function test_area_data() {
            // four: the channels seen in the four quarters
            return [
                { tag: "nothing", channels: 0, mode: 0, four: [0, 0, 0, 0] },
                { tag: "one in the grid", channels: 1, mode: 0, four: [1, 0, 0, 0] },
                { tag: "the fifth has no cell", channels: 5, mode: 0, four: [1, 2, 3, 4] },
                { tag: "one alone", channels: 4, mode: 3, four: [3, 3, 3, 3] },
                { tag: "the last instead of one beyond", channels: 4, mode: 5, four: [4, 4, 4, 4] }
            ];
        }
        function test_area(row) {
            rig.load(row.channels, 60);
            root.mode = row.mode;
            // The pictures are square: in a quarter of 160 by 100 they fill the middle 100.
            tryVerify(() => channelAt(0.25, 0.25) === row.four[0]);
            compare([channelAt(0.75, 0.25), channelAt(0.25, 0.75), channelAt(0.75, 0.75)], row.four.slice(1));
        }

        function test_areaFollowsTheRecording() {
            root.mode = 0;
            rig.load(4, 60);
            tryVerify(() => channelAt(0.75, 0.75) === 4);
            rig.load(2, 60);
            tryVerify(() => channelAt(0.75, 0.75) === 0);
            compare(channelAt(0.75, 0.25), 2);
            root.mode = 2;
            tryVerify(() => channelAt(0.25, 0.5) === 2);
            rig.load(0, 60); // as when the card is taken out
            tryVerify(() => channelAt(0.25, 0.5) === 0);
        }

        function test_tabs_data() {
            return [
                { tag: "0", channels: 0, tabs: [] },
                { tag: "1", channels: 1, tabs: ["ALL", "CH1", "Map View"] },
                { tag: "4", channels: 4, tabs: ["ALL", "CH1", "CH2", "CH3", "CH4", "Map View"] },
                { tag: "5", channels: 5, tabs: ["ALL", "CH1", "CH2", "CH3", "CH4", "Map View"] }
            ];
        }
        function test_tabs(row) {
            rig.load(row.channels, 60);
            compare(Array.from(tabs.items), row.tabs);
        }

        function test_tabsAndModeGoTogether() {
            rig.load(4, 60);
            root.mode = 0;
            compare(tabs.selectedIndex, 0);
            waitForRendering(tabs); // the row of the new tabs is laid out
            mouseClick(Array.from(tabs.children).find(tab => tab.modelData === "CH3"));
            compare(root.mode, 3);
            compare(tabs.selectedIndex, 3);
            root.mode = 1;
            compare(tabs.selectedIndex, 1);
            rig.load(2, 60);
            compare(tabs.selectedIndex, 1);
        }

        function test_theLastTabIsTheMap() {
            rig.load(2, 60);
            root.mode = 0;
            waitForRendering(tabs);
            mouseClick(Array.from(tabs.children).find(tab => tab.modelData === "Map View"));
            compare(root.mode, -1);
            compare(tabs.selectedIndex, 3);
            tryVerify(() => Qt.colorEqual(grabImage(layout).pixel(160, 100), "#ff00ff"));
            rig.load(4, 60);
            compare(tabs.selectedIndex, 5); // still the last one
            rig.load(0, 60);
            verify(!Qt.colorEqual(grabImage(layout).pixel(160, 100), "#ff00ff"));
        }
    }
}
