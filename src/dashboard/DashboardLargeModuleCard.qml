import QtQuick
import QtQuick.Layouts
import Velmora

// A primary module, stacked vertically.
ModuleCardBase {
    id: card

    implicitHeight: 168

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 18
        spacing: 8

        SymbolTile {
            Layout.preferredWidth: 50
            Layout.preferredHeight: 50
            circle: true
            symbol: card.moduleSymbol
            accent: card.moduleAccent
            symbolSize: 25
        }
        Text {
            Layout.fillWidth: true
            text: card.moduleTitle
            color: "white"
            font.pixelSize: 17
            font.bold: true
            wrapMode: Text.WordWrap
        }
        Text {
            Layout.fillWidth: true
            text: card.moduleSummary
            color: VelmoraTheme.secondaryText
            font.pixelSize: 12
            wrapMode: Text.WordWrap
        }
        Item { Layout.fillHeight: true }
        Symbol {
            Layout.alignment: Qt.AlignRight
            name: "arrow.right"
            size: 18
            color: card.hovered ? card.moduleAccent : VelmoraTheme.secondaryText
        }
    }
}
