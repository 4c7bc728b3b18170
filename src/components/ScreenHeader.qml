import QtQuick
import QtQuick.Layouts
import Velmora

// A module screen's title, subtitle and main button.
RowLayout {
    id: header

    property string title
    property string subtitle
    property string buttonText
    property string buttonSymbol
    property bool buttonEnabled: true
    signal buttonClicked

    spacing: 16

    ColumnLayout {
        Layout.fillWidth: true
        spacing: 4
        Text {
            text: header.title
            color: "white"
            font.pixelSize: 31
            font.bold: true
        }
        Text {
            Layout.fillWidth: true
            text: header.subtitle
            color: VelmoraTheme.secondaryText
            font.pixelSize: 13
            wrapMode: Text.WordWrap
        }
    }
    VelmoraButton {
        objectName: "headerButton"
        kind: "prominent"
        symbol: header.buttonSymbol
        text: header.buttonText
        enabled: header.buttonEnabled
        onClicked: header.buttonClicked()
    }
}
