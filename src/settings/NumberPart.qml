import QtQuick
import Vornex.Style

/// One number of a date or a time: typed, or stepped by the arrow keys, going round at the ends. It shows
/// `value` and never writes it: the owner does, on `edited`.
TextInput {
    id: root

    required property string name ///< for screen readers
    required property int value
    required property int from
    required property int to
    required property int digits
    signal edited(int value)

    /// What was typed stays as it is until the keyboard goes elsewhere.
    property bool isTyping: false

    function step(offset: int) {
        const count = to - from + 1;
        isTyping = false;
        edited(from + (((value - from + offset) % count) + count) % count);
        selectAll();
    }

    color: enabled ? Theme.text : Theme.faded(Theme.text, 0.5)
    font.pixelSize: Theme.bodySize
    inputMethodHints: Qt.ImhDigitsOnly
    maximumLength: digits
    selectByMouse: true
    selectedTextColor: "white"
    selectionColor: Theme.accent

    activeFocusOnTab: true
    validator: IntValidator {
        bottom: 0
    }

    Accessible.name: name
    Accessible.readOnly: !enabled
    Accessible.role: Accessible.EditableText
    Accessible.onDecreaseAction: step(-1)
    Accessible.onIncreaseAction: step(1)
    Keys.onDownPressed: step(-1)
    Keys.onUpPressed: step(1)
    onAccepted: {
        isTyping = false;
        selectAll();
    }
    onActiveFocusChanged: {
        isTyping = false;
        if (activeFocus)
            selectAll();
    }
    onTextEdited: {
        isTyping = true;
        const typed = Number(text);
        if (text !== "" && typed >= from && typed <= to)
            edited(typed);
    }

    Binding on text {
        restoreMode: Binding.RestoreNone
        value: String(root.value).padStart(root.digits, "0")
        when: !root.isTyping
    }
}
