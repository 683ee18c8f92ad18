import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Vornex.Style

/// One recording: tick, kind, date, size.
Rectangle {
    id: root

    required property string dateText
    required property int index
    required property bool isChecked
    required property bool isRead
    required property bool isSelected
    required property bool isUnfinished
    required property int kind ///< 0 plain, 1 red, 2 green, 3 yellow
    required property string kindLabel
    required property string sizeText

    property bool isCurrent: false ///< the row that the keyboard acts on
    property bool isLocal: false ///< a file from elsewhere, not from a card
    property bool usesKindColours: false

    readonly property string dateShown: dateText + (isUnfinished ? "*" : "")
    readonly property string kindShown: (isLocal ? "[F] " : "") + kindLabel
    readonly property color textColour: [Theme.text, Theme.red, Theme.green, Theme.yellow][usesKindColours ? kind : 0]

    signal tapped
    signal ticked(bool isOn)

    function toggleTick() {
        root.ticked(!root.isChecked);
    }

    border.color: Theme.accent
    border.width: isCurrent ? 1 : 0
    color: isSelected ? Theme.faded(Theme.blue, 0.2) : isChecked ? Theme.faded(Theme.accent, 0.06) : "transparent"
    implicitHeight: 30
    radius: 4

    Accessible.checkable: true
    Accessible.checked: isChecked
    Accessible.description: sizeText
    Accessible.name: (kindShown + " " + dateShown).trim()
    Accessible.role: Accessible.ListItem
    Accessible.selectable: true
    Accessible.selected: isSelected
    Accessible.onPressAction: root.tapped()
    Accessible.onToggleAction: root.toggleTick()

    TapHandler {
        gesturePolicy: TapHandler.WithinBounds
        onTapped: root.tapped()
    }
    RowLayout {
        anchors.fill: parent
        anchors.margins: 4
        opacity: root.isRead ? 1 : 0.5

        spacing: 8

        Item {
            Layout.fillHeight: true
            Layout.preferredWidth: 32
        }
        Text {
            Layout.preferredWidth: 80
            color: root.textColour
            textFormat: Text.PlainText
            text: root.kindShown
        }
        Text {
            Layout.fillWidth: true
            Layout.minimumWidth: 200
            color: root.textColour
            textFormat: Text.PlainText
            elide: Text.ElideRight
            text: root.dateShown
        }
        Text {
            Layout.preferredWidth: 80
            color: root.textColour
            textFormat: Text.PlainText
            horizontalAlignment: Text.AlignRight
            text: root.sizeText
        }
    }
    CheckBox {
        id: tick

        anchors.bottom: parent.bottom
        anchors.left: parent.left
        anchors.leftMargin: 4
        anchors.top: parent.top
        checked: root.isChecked
        focusPolicy: Qt.NoFocus
        width: 32

        Accessible.name: qsTr("%1 선택").arg(root.dateShown)
        onToggled: root.ticked(checked)
    }
}
