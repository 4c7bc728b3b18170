import QtQuick
import Velmora

// A system symbol by name, drawn from the icon font. A name without a glyph shows
// a red question mark so that it cannot go unnoticed.
Text {
    id: symbol

    property string name
    property real size: 18
    readonly property bool mapped: SymbolCatalogue.contains(name)

    text: mapped ? SymbolCatalogue.glyph(name) : "?"
    font.family: mapped ? IconFont.family : font.family
    font.pixelSize: size
    font.bold: !mapped
    color: "white"
    horizontalAlignment: Text.AlignHCenter
    verticalAlignment: Text.AlignVCenter
    renderType: Text.QtRendering

    Rectangle {
        visible: !symbol.mapped
        anchors.fill: parent
        color: "transparent"
        border.color: "red"
        border.width: 1
    }

    Binding on color {
        when: !symbol.mapped
        value: "red"
    }
}
