import QtQuick
import Velmora

// A symbol in a rounded tile tinted with its accent.
Rectangle {
    id: tile

    property string symbol
    property color accent: VelmoraTheme.blue
    property real symbolSize: 18
    property bool circle: false

    implicitWidth: 40
    implicitHeight: 40
    radius: circle ? width / 2 : 11
    color: Qt.rgba(accent.r, accent.g, accent.b, 0.16)
    border.color: Qt.rgba(accent.r, accent.g, accent.b, 0.28)
    border.width: 1

    Symbol {
        anchors.centerIn: parent
        name: tile.symbol
        size: tile.symbolSize
        color: tile.accent
    }
}
