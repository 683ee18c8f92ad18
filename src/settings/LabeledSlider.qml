import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Vornex.Settings
import Vornex.Style

/// A slider over a field's options. A value beyond them rests at an end, and stays until a person moves it.
RowLayout {
    id: root

    required property SettingsViewModel vm
    required property string field
    required property string title
    property string minLabel: qsTr("둔감")
    property string maxLabel: qsTr("민감")

    readonly property int last: vm.options(field).length - 1
    readonly property real shownValue: Math.max(0, Math.min(last, vm[field]))
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
        snapMode: Slider.SnapAlways
        stepSize: 1
        to: root.last
        value: root.shownValue

        Accessible.description: root.minLabel + " - " + root.maxLabel
        Accessible.name: root.title
        // Assistive technologies change `value` without a signal that tells a user's doing.
        onValueChanged: {
            const whole = Math.trunc(value);
            if (root.isComplete && whole !== root.shownValue)
                root.vm[root.field] = whole;
        }
    }
    EndLabel {
        text: root.maxLabel
    }
}
