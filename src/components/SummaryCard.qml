import QtQuick
import QtQuick.Layouts
import Velmora

// A figure of a module screen: a symbol in a tinted tile, a title and a value.
Card {
    id: card

    property string title
    property string value
    property string symbol
    property color accent: VelmoraTheme.blue

    implicitHeight: 74
    radius: 16

    RowLayout {
        anchors.fill: parent
        anchors.margins: 14
        spacing: 12
        SymbolTile {
            Layout.preferredWidth: 40
            Layout.preferredHeight: 40
            symbol: card.symbol
            accent: card.accent
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2
            Text {
                Layout.fillWidth: true
                text: card.title
                color: VelmoraTheme.secondaryText
                font.pixelSize: 12
                elide: Text.ElideRight
            }
            Text {
                objectName: "summaryValue"
                Layout.fillWidth: true
                text: card.value
                textFormat: Text.PlainText
                color: "white"
                font.pixelSize: 18
                font.bold: true
                elide: Text.ElideMiddle
            }
        }
    }
}
