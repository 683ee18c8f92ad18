import QtQuick
import QtTest
import Vornex.Playback
import Vornex.Telemetry

/// The graph as the window has it: under the bars that move the player.
Item {
    id: root
    width: 600
    height: 300

    PlayButtonBar {
        id: buttons
        playerManager: rig.player
    }
    SeekControlBar {
        id: seekBar
        y: 60
        width: 600
        playerManager: rig.player
    }
    GSensorBar {
        id: graph
        y: 120
        width: 600
        height: 100
        currentTime: rig.player.currentTime
        duration: rig.player.duration
        isScrubbing: rig.player.isScrubbing
        mediaData: rig.telemetry
    }

    TestCase {
        name: "Graph"
        when: windowShown

        function init() {
            rig.load(1, 40);
            rig.loadTelemetry(40);
        }
        function play(from, until) {
            rig.player.play();
            for (let tenth = Math.round(from * 10); tenth <= Math.round(until * 10); ++tenth) {
                rig.report(tenth / 10);
                wait(0);
            }
        }
        function press(name) {
            mouseClick(Array.from(buttons.children).find(child => child.name === name));
        }
        function clickSlider(share) {
            const slider = seekBar.children[1];
            mouseClick(slider, slider.width * share, 8);
        }

        function test_showsWhatTheDataSayAfter_data() {
            return [
                { tag: "playing", move: () => play(0, 4) },
                { tag: "a click on the slider", move: () => { play(0, 3); clickSlider(0.42); } },
                { tag: "a click back", move: () => { play(0, 3); clickSlider(0.9); clickSlider(0.2); } },
                { tag: "ten seconds on and back", move: () => { play(0, 3); press("forward"); press("forward"); press("backward"); } },
                { tag: "stop", move: () => { play(0, 3); press("stop"); } },
                { tag: "stop and play", move: () => { play(0, 3); press("stop"); play(0, 1); } },
                { tag: "a small step back, and on", move: () => { play(0, 5); rig.player.step(-0.05); play(5.1, 5.6); } },
                { tag: "reports that were late", move: () => { play(0, 3); play(3.6, 4); } },
                { tag: "a seek while it plays on", move: () => { play(0, 3); rig.player.seek(0.5); play(20.1, 21); } },
                { tag: "telemetry that comes late", move: () => { rig.loadTelemetry(-1); play(0, 3); rig.player.pause(); rig.loadTelemetry(40); } },
                { tag: "telemetry that comes while it plays", move: () => { rig.loadTelemetry(-1); play(0, 3); rig.loadTelemetry(40); play(3.1, 4); } },
                { tag: "being hidden", move: () => { play(0, 3); graph.visible = false; play(3.1, 6); graph.visible = true; } }
            ];
        }
        function test_showsWhatTheDataSayAfter(row) {
            row.move();
            wait(0);
            tryVerify(() => rig.faultsOfGraph(graph).length === 0, 500, rig.faultsOfGraph(graph).join(", "));
        }
    }
}
