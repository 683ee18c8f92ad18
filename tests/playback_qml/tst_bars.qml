import QtQuick
import QtTest
import Vornex.Playback

Item {
    id: root
    width: 600
    height: 120

    property var wishes: []

    PlayButtonBar {
        id: buttons
        playerManager: rig.player
        onPreviousRequested: root.wishes.push("previous")
        onNextRequested: root.wishes.push("next")
        onSettingsRequested: root.wishes.push("settings")
    }
    SeekControlBar {
        id: seekBar
        y: 60
        width: 600
        playerManager: rig.player
        speedKmh: 62
        onExportRequested: root.wishes.push("export")
    }
    TimeLabel {
        id: label
        y: 100
        seconds: 0
    }

    TestCase {
        name: "Bars"
        when: windowShown

        function init() {
            root.wishes = [];
            rig.load(2, 100);
        }

        function enabledButtons() {
            return Array.from(buttons.children).filter(child => child.enabled).map(child => child.name).join(" ");
        }
        function button(name) {
            return Array.from(buttons.children).find(child => child.name === name);
        }
        function slider() {
            return seekBar.children[1];
        }

        function test_buttonsAreEnabledByState() {
            rig.load(0, 100);
            compare(enabledButtons(), "settings");
            rig.load(2, 100);
            compare(enabledButtons(), "previous backward play forward next settings");
            rig.player.play();
            compare(enabledButtons(), "stop previous backward pause forward next settings");
            rig.player.pause();
            compare(enabledButtons(), "stop previous backward play forward next settings");
            rig.player.seek(1);
            compare(enabledButtons(), "stop previous backward forward next settings");
            rig.player.seek(0.9999);
            compare(enabledButtons(), "stop previous backward play forward next settings");
            rig.player.play();
            rig.end();
            compare(enabledButtons(), "stop previous backward forward next settings");
            rig.player.stop();
            compare(enabledButtons(), "previous backward play forward next settings");
        }

        function test_buttonsCommandThePlayer() {
            mouseClick(button("play"));
            verify(rig.player.isPlaying);
            mouseClick(button("pause"));
            verify(!rig.player.isPlaying);
            rig.player.seek(0.5);
            mouseClick(button("forward"));
            compare(rig.player.currentTime, 60);
            mouseClick(button("backward"));
            mouseClick(button("backward"));
            compare(rig.player.currentTime, 40);
            mouseClick(button("stop"));
            verify(rig.player.isStopped);
            mouseClick(button("previous"));
            mouseClick(button("next"));
            compare(root.wishes, ["previous", "next"]);
        }

        function test_settingsPauseTheRecording() {
            rig.player.play();
            mouseClick(button("settings"));
            verify(!rig.player.isPlaying && !rig.player.isStopped);
            compare(root.wishes, ["settings"]);
        }

        function test_keysReachEveryButton() {
            rig.player.play();
            buttons.children[0].forceActiveFocus(Qt.TabFocusReason);
            for (const expected of Array.from(buttons.children)) {
                verify(expected.visualFocus, expected.name);
                keyClick(Qt.Key_Tab);
            }
        }

        function test_sliderScrubsAndSeeksAtTheEnd() {
            rig.player.play();
            const width = slider().width;
            mousePress(slider(), width * 0.25, 8);
            verify(rig.player.isScrubbing);
            fuzzyCompare(rig.player.progress, 0.25, 0.01);
            mouseMove(slider(), width * 0.5, 8);
            rig.report(3); // stays under the user's hand
            wait(0);
            fuzzyCompare(rig.player.progress, 0.5, 0.01);
            compare(rig.commands.filter(command => command.includes("seek")), []);
            mouseRelease(slider(), width * 0.5, 8);
            verify(!rig.player.isScrubbing);
            compare(rig.commands.filter(command => command.includes("seek")).length, 2);
            fuzzyCompare(rig.player.currentTime, 50, 1);
            verify(rig.player.isPlaying);
        }

        function test_arrowsSeekSomeSeconds() {
            rig.player.seek(0.5);
            slider().forceActiveFocus(Qt.TabFocusReason);
            keyClick(Qt.Key_Right);
            fuzzyCompare(rig.player.currentTime, 55, 1e-6);
        }

        function test_barShowsTimesAndSpeed() {
            const texts = () => [0, 2, 3].map(index => seekBar.children[index].text).join(" ");
            rig.player.seek(0.5);
            compare(texts(), "00:00:50 00:01:40 62 km/h");
            verify(slider().enabled);
            const speed = seekBar.children[3];
            mouseDoubleClickSequence(speed);
            speed.forceActiveFocus(Qt.TabFocusReason);
            keyClick(Qt.Key_Return);
            compare(root.wishes, ["export", "export"]);
            rig.load(0, 100);
            verify(texts().endsWith("00:00:00 0 km/h"));
            verify(!slider().enabled);
        }

        function test_timeText_data() {
            return [
                { tag: "truncated", seconds: 3599.999, text: "00:59:59" },
                { tag: "hours", seconds: 36000 + 120 + 3, text: "10:02:03" },
                { tag: "more than two digits of hours", seconds: 360000, text: "100:00:00" },
                { tag: "no number", seconds: NaN, text: "00:00:00" },
                { tag: "endless", seconds: Infinity, text: "00:00:00" }
            ];
        }
        function test_timeText(row) {
            label.seconds = row.seconds;
            compare(label.text, row.text);
        }
    }
}
