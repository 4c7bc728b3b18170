import QtQuick
import QtQuick.Layouts
import Velmora

// One card of the status summary.
Card {
    id: card

    property string title
    property string value
    property string detail
    property string symbol
    property color accent: VelmoraTheme.success

    implicitHeight: 88

    RowLayout {
        anchors.fill: parent
        anchors.margins: 16
        spacing: 14

        SymbolTile {
            Layout.preferredWidth: 44
            Layout.preferredHeight: 44
            symbol: card.symbol
            accent: card.accent
            symbolSize: 22
            circle: true
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2
            Text {
                Layout.fillWidth: true
                text: card.title
                color: VelmoraTheme.secondaryText
                font.pixelSize: 12
                wrapMode: Text.WordWrap
            }
            Text {
                objectName: "statusValue"
                Layout.fillWidth: true
                text: card.value
                color: "white"
                font.pixelSize: 20
                font.bold: true
                wrapMode: Text.WordWrap
            }
            Text {
                objectName: "statusDetail"
                Layout.fillWidth: true
                text: card.detail
                color: VelmoraTheme.mutedText
                font.pixelSize: 11
                wrapMode: Text.WordWrap
            }
        }
    }
}
