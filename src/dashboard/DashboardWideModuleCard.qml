import QtQuick
import QtQuick.Layouts
import Velmora

// A secondary module, laid out in one row.
ModuleCardBase {
    id: card

    implicitHeight: 88

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 20
        anchors.rightMargin: 20
        spacing: 14

        SymbolTile {
            Layout.preferredWidth: 48
            Layout.preferredHeight: 48
            circle: true
            symbol: card.moduleSymbol
            accent: card.moduleAccent
            symbolSize: 24
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 3
            Text {
                Layout.fillWidth: true
                text: card.moduleTitle
                color: "white"
                font.pixelSize: 16
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
        }
        Symbol {
            name: "arrow.right"
            size: 18
            color: card.hovered ? card.moduleAccent : VelmoraTheme.secondaryText
        }
    }
}
