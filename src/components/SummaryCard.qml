import QtQuick
import QtQuick.Layouts
import Velmora

// A figure of a module screen: a symbol in a tinted tile, a title and a value.
// Compact, the three stand on one short line.
Card {
    id: card

    property string title
    property string value
    property string symbol
    property color accent: VelmoraTheme.blue
    property bool compact: false

    implicitHeight: compact ? 40 : 74
    implicitWidth: layout.implicitWidth + 2 * layout.anchors.margins
    radius: compact ? 12 : 16
    Accessible.role: Accessible.StaticText
    Accessible.name: card.title + ": " + card.value

    GridLayout {
        id: layout
        anchors.fill: parent
        anchors.margins: card.compact ? 8 : 14
        columnSpacing: card.compact ? 8 : 12
        rowSpacing: 2
        columns: card.compact ? 3 : 2
        SymbolTile {
            Layout.rowSpan: card.compact ? 1 : 2
            Layout.preferredWidth: card.compact ? 24 : 40
            Layout.preferredHeight: card.compact ? 24 : 40
            symbol: card.symbol
            symbolSize: card.compact ? 13 : 18
            accent: card.accent
        }
        Text {
            Layout.fillWidth: !card.compact
            Layout.alignment: card.compact ? Qt.AlignVCenter : Qt.AlignBottom
            text: card.title
            color: VelmoraTheme.secondaryText
            font.pixelSize: 12
        }
        Text {
            objectName: "summaryValue"
            Layout.fillWidth: true
            Layout.alignment: card.compact ? Qt.AlignVCenter : Qt.AlignTop
            text: card.value
            textFormat: Text.PlainText
            color: "white"
            font.pixelSize: card.compact ? 14 : 18
            font.bold: true
        }
    }
}
