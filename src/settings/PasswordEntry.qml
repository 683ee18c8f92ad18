import QtQuick

/// A TextEntry that shows dots, also to screen readers: Qt would tell them what was typed. It doesn't say that it
/// is for a password, since Qt then withholds its name.
FocusScope {
    id: root

    required property string value
    required property string placeholderText
    signal edited(string value)

    // What assistive technologies ask for.
    readonly property alias cursorPosition: entry.cursorPosition
    readonly property alias text: entry.displayText

    implicitHeight: entry.implicitHeight
    implicitWidth: entry.implicitWidth

    Accessible.focusable: true
    Accessible.name: placeholderText
    Accessible.role: Accessible.EditableText

    TextEntry {
        id: entry

        anchors.fill: parent
        echoMode: TextInput.Password
        focus: true
        placeholderText: root.placeholderText
        value: root.value

        Accessible.ignored: true
        onEdited: value => root.edited(value)
    }
}
