import QtQuick
import QtQuick.Controls

/// A button with a word on it, of the looks of ImageButton.
Button {
    required property string name ///< for screen readers
    required property string title

    flat: true
    font.weight: Font.Medium
    implicitHeight: 34
    implicitWidth: 60
    text: title

    Accessible.name: name
}
