import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Vornex.Style

/// A slider over whole numbers. It shows `value`, resting at an end if that lies outside of its range, and
/// never writes it: the owner does, on `edited`.
RowLayout {
    id: root

    required property string title
    required property real value
    required property string minLabel
    required property string maxLabel
    required property int from
    required property int to
    signal edited(int value)

    readonly property real shownValue: Math.max(from, Math.min(to, value))
    property bool isComplete: false
    Component.onCompleted: isComplete = true

    spacing: 4

    component EndLabel: Label {
        Layout.minimumWidth: 60
        color: Theme.secondaryText
        font.pixelSize: Theme.captionSize
    }

    Label {
        Layout.minimumWidth: 120
        text: root.title
    }
    EndLabel {
        horizontalAlignment: Text.AlignRight
        text: root.minLabel
    }
    Slider {
        id: slider

        Layout.fillWidth: true
        Layout.leftMargin: 6
        Layout.rightMargin: 6
        from: root.from
        snapMode: Slider.SnapAlways
        stepSize: 1
        to: root.to
        value: root.shownValue

        Accessible.description: root.minLabel + " - " + root.maxLabel
        Accessible.name: root.title
        // Assistive technologies change `value` without a signal that tells a user's doing.
        onValueChanged: {
            const whole = Math.trunc(value);
            if (root.isComplete && whole !== root.shownValue)
                root.edited(whole);
        }
    }
    EndLabel {
        text: root.maxLabel
    }
}
