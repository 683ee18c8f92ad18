import QtQuick
import QtQuick.Controls

/// A text on one line: line ends of any kind don't get in, also not by pasting. It shows `value` and never
/// writes it: the owner does, on `edited`.
TextField {
    id: root

    required property string value
    signal edited(string value)

    text: value

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
