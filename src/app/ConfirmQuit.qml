import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Vornex.App
import Vornex.Style

/// The question before the program ends. Modal to the window, without an event loop of its own.
Dialog {
    id: root

    required property WindowDelegate windowDelegate

    Overlay.modal: Rectangle {
        color: Theme.faded("black", 0.45)
    }
    anchors.centerIn: parent
    background: Rectangle {
        border.color: Theme.faded("white", 0.15)
        color: Theme.card
        radius: 10
    }
    closePolicy: Popup.NoAutoClose
    focus: true
    header: null
    modal: true
    padding: 20
    title: qsTr("종료 하시겠습니까?")
    visible: windowDelegate.isConfirming

    onOpened: yesButton.forceActiveFocus()

    ColumnLayout {
        anchors.fill: parent
        spacing: 16

        Keys.onEscapePressed: root.windowDelegate.answer(false)

        RowLayout {
            Layout.minimumWidth: 300
            spacing: 16

            Image {
                Layout.preferredHeight: 48
                Layout.preferredWidth: 48
                source: "images/AppIcon.svg"
                sourceSize.height: 48
                sourceSize.width: 48
            }
            Label {
                Layout.fillWidth: true
                font.bold: true
                text: root.title
                wrapMode: Text.Wrap
            }
        }
        RowLayout {
            Layout.alignment: Qt.AlignRight
            spacing: 8

            Button {
                id: yesButton

                highlighted: true
                text: qsTr("예")

                KeyNavigation.right: noButton
                onClicked: root.windowDelegate.answer(true)
            }
            Button {
                id: noButton

                text: qsTr("아니오")

                KeyNavigation.left: yesButton
                onClicked: root.windowDelegate.answer(false)
            }
        }
    }
}
