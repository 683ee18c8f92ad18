import QtQuick

/// A slider from 0 to 1. It shows `value` and never writes it: the owner does, on `moved`.
/// A click, a key or an assistive technology's change is told as a short drag.
FocusScope {
    id: root

    required property real value
    property string name ///< for screen readers
    property string description
    property real stepSize: 0.01 ///< of an arrow key
    signal editingChanged(bool editing)
    signal moved(real value)

    readonly property real shownValue: Number.isFinite(value) ? Math.max(0, Math.min(1, value)) : 0

    function drag(value: real) {
        editingChanged(true);
        moved(Math.max(0, Math.min(1, value)));
    }
    function jump(value: real) {
        if (!enabled)
            return;
        drag(value);
        editingChanged(false);
    }

    implicitWidth: 120
    implicitHeight: 16
    opacity: enabled ? 1 : 0.4

    Rectangle {
        anchors.verticalCenter: parent.verticalCenter
        width: parent.width
        height: 2
        color: Theme.faded(Theme.gray, 0.25)
    }
    Rectangle {
        anchors.verticalCenter: parent.verticalCenter
        width: parent.width * root.shownValue
        height: 2
        color: Theme.cyan
    }
    Rectangle {
        anchors.verticalCenter: parent.verticalCenter
        x: parent.width * root.shownValue - 6
        width: 12
        height: 12
        radius: 6
        color: "white"

        FocusRing {
            visible: control.activeFocus
            anchors.margins: -4
            radius: 10
        }
    }

    // Assistive technologies write the property `value` of the item that has the role of a slider. That is
    // a copy, so that such a write becomes a request and the owner's binding stays.
    MouseArea {
        id: control

        readonly property real from: 0
        readonly property real to: 1
        readonly property real stepSize: root.stepSize
        property real value: root.shownValue
        onValueChanged: {
            if (value === root.shownValue)
                return;
            const wanted = value;
            value = Qt.binding(() => root.shownValue);
            root.jump(wanted);
        }

        anchors.fill: parent
        focus: true
        activeFocusOnTab: true
        preventStealing: true
        onPressed: mouse => {
            forceActiveFocus(Qt.MouseFocusReason);
            root.drag(mouse.x / width);
        }
        onPositionChanged: mouse => root.drag(mouse.x / width)
        onReleased: root.editingChanged(false)
        onCanceled: root.editingChanged(false)
        Keys.onPressed: event => {
            const targets = {
                [Qt.Key_Left]: root.shownValue - root.stepSize,
                [Qt.Key_Down]: root.shownValue - root.stepSize,
                [Qt.Key_Right]: root.shownValue + root.stepSize,
                [Qt.Key_Up]: root.shownValue + root.stepSize,
                [Qt.Key_Home]: 0,
                [Qt.Key_End]: 1
            };
            if (event.key in targets) {
                root.jump(targets[event.key]);
                event.accepted = true;
            }
        }

        Accessible.role: Accessible.Slider
        Accessible.name: root.name
        Accessible.description: root.description
        Accessible.focusable: true
        Accessible.readOnly: !root.enabled
        Accessible.onIncreaseAction: root.jump(root.shownValue + root.stepSize)
        Accessible.onDecreaseAction: root.jump(root.shownValue - root.stepSize)
    }
}
