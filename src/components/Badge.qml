import QtQuick
import Velmora

// A small capsule of bold capitals in its colour.
Rectangle {
    id: badge

    property string text
    property color tint: VelmoraTheme.success

    implicitWidth: label.implicitWidth + 14
    implicitHeight: 18
    radius: 9
    color: Qt.rgba(tint.r, tint.g, tint.b, 0.16)
    border.color: Qt.rgba(tint.r, tint.g, tint.b, 0.4)

    Text {
        id: label
        anchors.centerIn: parent
        text: badge.text
        textFormat: Text.PlainText
        color: badge.tint
        font.pixelSize: 10
        font.bold: true
    }
}
