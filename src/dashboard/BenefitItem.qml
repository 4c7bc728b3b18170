import QtQuick
import QtQuick.Layouts
import Velmora

// One entry of the highlights bar.
RowLayout {
    id: item

    property string symbol
    property string title
    property string subtitle
    property color accent: VelmoraTheme.success

    spacing: 9

    Symbol {
        name: item.symbol
        size: 20
        color: item.accent
    }
    ColumnLayout {
        spacing: 0
        Text {
            text: item.title
            color: "white"
            font.pixelSize: 12
            font.bold: true
        }
        Text {
            text: item.subtitle
            color: VelmoraTheme.mutedText
            font.pixelSize: 11
        }
    }
}
