import QtQuick
import QtTest
import Vornex.Widgets

Item {
    id: root
    width: 300
    height: 60

    property real position: 0.5
    property var told: []

    CustomSlider {
        id: slider
        width: 200
        value: root.position
        stepSize: 0.1
        onEditingChanged: editing => root.told.push(editing)
        onMoved: value => {
            root.told.push(value);
            root.position = value;
        }
    }

    TestCase {
        name: "CustomSlider"
        when: windowShown

        function init() {
            slider.enabled = true;
            root.position = 0.5;
            root.told = [];
        }
        function control() { // the part that takes mouse, keys and assistive technologies
            return slider.children[0];
        }

        function test_clickIsAShortDrag() {
            mouseClick(slider, 50, 8);
            compare(root.told, [true, 0.25, false]);
            compare(slider.value, 0.25);
        }

        function test_dragTellsEachChangeAndClamps() {
            mousePress(slider, 110, 8);
            mouseMove(slider, 150, 30);
            mouseMove(slider, 260, 8);
            mouseMove(slider, -40, 8);
            mouseRelease(slider, -40, 8);
            compare(root.told, [true, 0.55, 0.75, 1, 0, false]);
        }

        function test_keys_data() {
            return [
                { tag: "left", key: Qt.Key_Left, from: 0.5, to: 0.4 },
                { tag: "right near the end", key: Qt.Key_Right, from: 0.95, to: 1 },
                { tag: "home", key: Qt.Key_Home, from: 0.5, to: 0 }
            ];
        }
        function test_keys(row) {
            root.position = row.from;
            control().forceActiveFocus(Qt.TabFocusReason);
            keyClick(row.key);
            compare(root.told.length, 3);
            fuzzyCompare(root.told[1], row.to, 1e-9);
            compare([root.told[0], root.told[2]], [true, false]);
        }

        // As a screen reader does it.
        function test_writtenValueIsARequest() {
            reader.setValue(control(), 0.8);
            compare(root.told, [true, 0.8, false]);
            control().Accessible.increaseAction();
            fuzzyCompare(root.position, 0.9, 1e-9);
            root.position = 0.3; // and the binding is still there
            compare(control().value, 0.3);
            compare(slider.value, 0.3);
        }

        function test_disabledTakesNothingAndEndsADrag() {
            mousePress(slider, 50, 8);
            slider.enabled = false;
            compare(root.told, [true, 0.25, false]);
            mouseRelease(slider, 100, 8);
            mouseClick(slider, 150, 8);
            reader.setValue(control(), 0.8);
            compare(root.told.length, 3);
        }

        function test_showsItsValueAndTellsNobody_data() {
            return [
                { tag: "inside", value: 0.25, filled: 50 },
                { tag: "beyond the end", value: 1.5, filled: 200 },
                { tag: "no number", value: NaN, filled: 0 }
            ];
        }
        function test_showsItsValueAndTellsNobody(row) {
            root.position = row.value;
            compare(control().background.children[0].width, row.filled);
            compare(control().handle.x, row.filled);
            compare(root.told, []);
        }
    }
}
