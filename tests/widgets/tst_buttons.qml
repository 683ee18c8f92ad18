import QtQuick
import QtQuick.Controls
import QtTest
import Vornex.Style
import Vornex.Widgets

Item {
    id: root
    width: 300
    height: 100

    Rectangle {
        anchors.fill: parent
        color: Theme.window
    }
    Row {
        ImageButton {
            id: image
            name: "play"
            system: "media-playback-start"
        }
        TextButton {
            id: text
            name: "channel"
            title: "CH All"
        }
        Button {
            id: plain
            text: "확인"
        }
    }
    TestCase {
        name: "Buttons"
        when: windowShown

        function test_act_data() {
            return [{ tag: "image", button: image }, { tag: "text", button: text }, { tag: "plain", button: plain }];
        }
        function test_act(row) {
            const clicks = createTemporaryObject(spy, root, { target: row.button });
            mouseClick(row.button, 1, 1); // the whole frame takes the click
            mouseClick(row.button, row.button.width - 1, row.button.height - 1);
            row.button.forceActiveFocus(Qt.TabFocusReason);
            keyClick(Qt.Key_Space);
            keyClick(Qt.Key_Return);
            keyClick(Qt.Key_Enter);
            compare(clicks.count, 5);
            row.button.Accessible.pressAction();
            compare(clicks.count, 6);
            row.button.enabled = false;
            mouseClick(row.button);
            row.button.Accessible.pressAction();
            compare(clicks.count, 6);
            row.button.enabled = true;
        }

        /// Where there is more white than background in a row of pixels through the middle of the button.
        function whitePixels() {
            const picture = grabImage(image);
            let count = 0;
            for (let x = 8; x < 26; ++x)
                count += picture.red(x, 17) > 150 && picture.blue(x, 17) > 150 ? 1 : 0;
            return count;
        }

        function test_iconsAreWhiteWhateverTheTheme_data() {
            return [
                { tag: "only ours", system: "media-playback-start", white: 11 },
                { tag: "the theme's, of half the width", system: "media-eject", white: 8 },
                { tag: "ours, since the theme's is coloured", system: "media-playback-stop", white: 11 },
                { tag: "none", system: "no-such-icon", white: 0 }
            ];
        }
        function test_iconsAreWhiteWhateverTheTheme(row) {
            if (row.white === 0)
                ignoreWarning(/no-such-icon/);
            image.system = row.system;
            tryVerify(() => Math.abs(whitePixels() - row.white) <= 1);
        }
    }

    Component {
        id: spy
        SignalSpy {
            signalName: "clicked"
        }
    }
}
