import QtQuick
import QtQuick.Controls
import Vornex.Style

/// A slider from 0 to 1. It shows `value` and never writes it: the owner does, on `moved`.
/// A change by a key or an assistive technology is told as a short drag.
FocusScope {
    id: root

    required property real value
    property string name ///< for screen readers
    property string description
    property real stepSize: 0.01 ///< of an arrow key
    signal editingChanged(bool editing)
    signal moved(real value)

    readonly property real shownValue: Number.isFinite(value) ? Math.max(0, Math.min(1, value)) : 0

    function jump(value: real) {
        if (!enabled)
            return;
        editingChanged(true);
        moved(Math.max(0, Math.min(1, value)));
        editingChanged(false);
    }

    implicitHeight: slider.implicitHeight
    implicitWidth: slider.implicitWidth

    Slider {
        id: slider

        anchors.fill: parent
        focus: true
        palette.highlight: Theme.cyan
        value: root.shownValue

        Accessible.description: root.description
        Accessible.name: root.name
        Accessible.onDecreaseAction: root.jump(value - root.stepSize)
        Accessible.onIncreaseAction: root.jump(value + root.stepSize)
        Keys.onPressed: event => {
            const targets = {
                [Qt.Key_Left]: value - root.stepSize,
                [Qt.Key_Down]: value - root.stepSize,
                [Qt.Key_Right]: value + root.stepSize,
                [Qt.Key_Up]: value + root.stepSize,
                [Qt.Key_Home]: 0,
                [Qt.Key_End]: 1
            };
            event.accepted = event.key in targets;
            if (event.accepted)
                root.jump(targets[event.key]);
        }
        onPressedChanged: root.editingChanged(pressed)
        onValueChanged: {
            if (value === root.shownValue)
                return;
            const wanted = value;
            value = Qt.binding(() => root.shownValue);
            pressed ? root.moved(wanted) : root.jump(wanted);
        }
    }
}
