import QtQuick
import QtQuick.Controls
import Vornex.Widgets

/// A text on one line: line ends of any kind don't get in, also not by pasting. It shows `value` and never
/// writes it: the owner does, on `edited`.
TextField {
    id: root

    required property string value
    signal edited(string value)

    color: Theme.text
    font.pixelSize: 13
    implicitHeight: 28
    leftPadding: 8
    rightPadding: 8
    selectByMouse: true
    text: value

    background: Rectangle {
        border.color: root.activeFocus ? Theme.accent : Theme.faded(Theme.gray, 0.6)
        border.width: 1
        color: "#2a2a2a"
        radius: 5
    }

    Accessible.name: placeholderText
    onTextEdited: {
        const oneLine = text.replace(/[\n\v\f\r\u0085\u2028\u2029]/g, "");
        if (oneLine !== text) {
            const place = Math.max(0, cursorPosition - (text.length - oneLine.length));
            text = oneLine;
            cursorPosition = place;
        }
        edited(oneLine);
    }
    onValueChanged: {
        if (text !== value)
            text = value;
    }
}
