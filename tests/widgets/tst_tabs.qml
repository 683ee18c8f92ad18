import QtQuick
import QtTest
import Vornex.Widgets

Item {
    width: 400
    height: 100

    TabButton {
        id: tabs
        items: ["상시", "이벤트", "주차"]
        initialIndex: 1
    }
    SignalSpy {
        id: selections
        target: tabs
        signalName: "select"
    }

    TestCase {
        name: "TabButton"
        when: windowShown

        function init() {
            tabs.reset = false;
            tabs.selectedIndex = 1;
            selections.clear();
        }
        function tab(index) {
            return tabs.children[index];
        }

        function test_tapHighlightsAndTells() {
            mouseClick(tab(2));
            compare(tabs.selectedIndex, 2);
            compare(selections.signalArguments[0][0], 2);
            compare(selections.count, 1);
            mouseClick(tab(2)); // each tap is told, also one on the highlighted tab
            compare(selections.count, 2);
        }

        function test_keysReachEveryTab() {
            tab(0).forceActiveFocus(Qt.TabFocusReason);
            keyClick(Qt.Key_Tab);
            keyClick(Qt.Key_Right);
            verify(tab(2).activeFocus);
            keyClick(Qt.Key_Right);
            verify(tab(2).activeFocus);
            keyClick(Qt.Key_Return);
            compare(tabs.selectedIndex, 2);
            keyClick(Qt.Key_Left);
            keyClick(Qt.Key_Space);
            compare(tabs.selectedIndex, 1);
        }

        function test_resetTakesTheHighlightUntilTheNextTap() {
            tabs.reset = true;
            compare(tabs.selectedIndex, -1);
            tabs.reset = false;
            compare(tabs.selectedIndex, -1);
            tabs.reset = true;
            mouseClick(tab(0));
            compare(tabs.selectedIndex, 0); // though reset is still true
        }

        function test_highlightIsSeen() {
            const picture = grabImage(tabs);
            verify(Math.abs(picture.red(tab(1).x + 3, 9) - picture.red(3, 9)) > 10);
        }

        function test_startsAtInitialIndexAndDoesNotFollowIt() {
            const made = maker.createObject(tabs.parent);
            compare(made.selectedIndex, 2); // reset was true from the start, which is no change
            made.initialIndex = 0;
            compare(made.selectedIndex, 2);
            made.destroy();
        }

    }

    Component {
        id: maker
        TabButton {
            items: ["a", "b", "c"]
            initialIndex: 2
            reset: true
        }
    }
}
