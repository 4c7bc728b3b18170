import QtQuick
import QtQuick.Layouts
import Velmora

// A module screen's title, subtitle and main button, with any items of the
// screen's own before the button. Folded, it is one short line: the title in
// a smaller size, the subtitle left out and the buttons small.
RowLayout {
    id: header

    property string title
    property string subtitle
    property string buttonText
    property string buttonSymbol
    property bool buttonEnabled: true
    property bool buttonVisible: true
    property bool folded: false
    // The protection screen writes its title in the brand gradient.
    property bool gradientTitle: false
    default property alias accessories: accessoryRow.data
    signal buttonClicked

    spacing: 16

    ColumnLayout {
        Layout.fillWidth: true
        spacing: 4
        // Keeps the column as wide as the line when the subtitle is folded away.
        Item {
            Layout.fillWidth: true
            visible: header.folded
        }
        Text {
            objectName: "screenTitle"
            visible: !header.gradientTitle
            text: header.title
            color: "white"
            font.pixelSize: header.folded ? 20 : 31
            font.bold: true
            Accessible.role: Accessible.Heading
        }
        GradientText {
            visible: header.gradientTitle
            text: header.title
            font.pixelSize: header.folded ? 20 : 31
            font.bold: true
        }
        Text {
            Layout.fillWidth: true
            visible: !header.folded
            text: header.subtitle
            color: VelmoraTheme.secondaryText
            font.pixelSize: 13
            wrapMode: Text.WordWrap
        }
    }
    RowLayout {
        id: accessoryRow
        spacing: 10
        visible: children.length > 0
    }
    VelmoraButton {
        objectName: "headerButton"
        visible: header.buttonVisible
        kind: "prominent"
        small: header.folded
        symbol: header.buttonSymbol
        text: header.buttonText
        enabled: header.buttonEnabled
        onClicked: header.buttonClicked()
    }
}
