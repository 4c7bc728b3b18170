import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Templates as T
import QtQuick.Layouts
import Velmora

// A centred modal panel in the dark palette: title, message and a row of buttons
// supplied by the concrete dialog.
Popup {
    id: dialog

    property string title
    property string message
    default property alias buttons: buttonRow.data

    modal: true
    focus: true
    anchors.centerIn: T.Overlay.overlay
    padding: 22
    // Wide enough for its buttons with the same padding on every side, and never
    // wider than the window.
    width: Math.min(Math.max(420, buttonRow.implicitWidth + leftPadding + rightPadding),
                    parent ? parent.width - 48 : 420)
    closePolicy: Popup.CloseOnEscape

    T.Overlay.modal: Rectangle { color: Qt.rgba(0, 0, 0, 0.55) }

    background: Rectangle {
        objectName: "dialogPanel"
        radius: 16
        color: "#0F1B2A"
        border.color: Qt.rgba(1, 1, 1, 0.14)
    }

    contentItem: ColumnLayout {
        spacing: 10
        Text {
            objectName: "dialogTitle"
            Layout.fillWidth: true
            text: dialog.title
            textFormat: Text.PlainText
            color: "white"
            font.pixelSize: 16
            font.bold: true
            wrapMode: Text.WordWrap
        }
        Text {
            objectName: "dialogMessage"
            Layout.fillWidth: true
            visible: text !== ""
            text: dialog.message
            textFormat: Text.PlainText
            color: VelmoraTheme.secondaryText
            font.pixelSize: 13
            wrapMode: Text.WordWrap
        }
        RowLayout {
            id: buttonRow
            Layout.topMargin: 10
            Layout.alignment: Qt.AlignRight
            spacing: 8
        }
    }
}
