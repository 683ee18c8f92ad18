pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import Vornex.Style

/// Numbers that make up a date or a time, with arrows that step the one that was last touched.
Row {
    id: root

    required property string title
    required property string separator
    required property list<string> names
    required property list<int> values
    required property list<int> firsts
    required property list<int> lasts
    required property list<int> digits
    signal edited(int part, int value)

    property int currentPart: names.length - 1

    spacing: 4

    Label {
        anchors.verticalCenter: parent.verticalCenter
        opacity: enabled ? 1 : 0.5
        text: root.title
    }
    FocusScope {
        id: frame

        anchors.verticalCenter: parent.verticalCenter
        implicitHeight: 26
        implicitWidth: parts.implicitWidth + 14

        Rectangle {
            anchors.fill: parent
            border.color: frame.activeFocus ? Theme.accent : palette.mid
            border.width: 1
            color: Theme.field
            radius: 5
        }
        Row {
            id: parts

            anchors.centerIn: parent

            Repeater {
                id: numbers

                model: root.names.length

                Item {
                    id: part

                    required property int index

                    readonly property NumberPart field: number

                    implicitHeight: number.implicitHeight
                    implicitWidth: number.width + line.width

                    NumberPart {
                        id: number

                        digits: root.digits[part.index]
                        from: root.firsts[part.index]
                        name: root.title + " " + root.names[part.index]
                        to: root.lasts[part.index]
                        value: root.values[part.index]
                        width: digits * 8
                        onActiveFocusChanged: {
                            if (activeFocus)
                                root.currentPart = part.index;
                        }
                        onEdited: value => root.edited(part.index, value)
                    }
                    Text {
                        id: line

                        anchors.left: number.right
                        color: number.color
                        font.pixelSize: Theme.bodySize
                        text: part.index + 1 < root.names.length ? root.separator : ""
                        width: text === "" ? 0 : 8
                        horizontalAlignment: Text.AlignHCenter
                    }
                }
            }
        }
    }
    Stepper {
        name: root.title
        anchors.verticalCenter: parent.verticalCenter
        onStep: offset => {
            const field = numbers.itemAt(root.currentPart).field as NumberPart;
            field.forceActiveFocus(Qt.MouseFocusReason);
            field.step(offset);
        }
    }
}
