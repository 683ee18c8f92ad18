import QtQuick
import QtTest
import Vornex.Widgets

Item {
    id: root
    width: 700
    height: 500

    property int clicksBehind: 0

    MouseArea {
        anchors.fill: parent
        onClicked: ++root.clicksBehind
    }
    OverlayMessage {
        id: card
        anchors.centerIn: parent
        title: "제목"
    }
    SignalSpy {
        id: taps
        target: card
        signalName: "buttonTap"
    }

    TestCase {
        name: "OverlayMessage"
        when: windowShown

        function init() {
            card.title = "제목";
            card.message = "";
            card.buttonText = "";
            root.clicksBehind = 0;
            taps.clear();
        }
        function line(name) {
            return findChild(card, name);
        }

        function test_missingPartsTakeNoRoom() {
            tryCompare(card, "height", 40 + line("title").height);
            card.buttonText = "확인";
            tryCompare(card, "height", 40 + line("title").height + 12 + line("button").height);
        }

        function test_longTextsAreWrapped() {
            card.title = "<b>아주 긴 제목</b> ".repeat(20);
            card.message = "/a/path/without/any/blank/in/it".repeat(40);
            tryCompare(card, "width", card.maximumWidth);
            verify(line("title").lineCount > 1);
            verify(line("message").contentWidth <= card.width - 40);
            verify(card.height < root.height);
        }

        function test_mouseOutsideTheCardGoesThrough() {
            mouseClick(root, card.x - 5, card.y + 10);
            mouseClick(root, card.x + 10, card.y + card.height + 5);
            compare(root.clicksBehind, 2);
            mouseClick(card, 10, 10);
            mouseClick(card, 10, 10, Qt.RightButton);
            compare(root.clicksBehind, 2);
        }

        function test_buttonTells() {
            card.buttonText = "확인";
            waitForRendering(card);
            mouseClick(line("button"));
            compare(taps.count, 1);
            card.forceActiveFocus(Qt.TabFocusReason);
            keyClick(Qt.Key_Return);
            compare(taps.count, 2);
            compare(root.clicksBehind, 0);
        }
    }
}
