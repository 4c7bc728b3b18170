import QtQuick
import QtQuick.Controls.Basic
import Velmora

// A small capsule of bold capitals in its colour, with what it means on hover
// when `help` says it.
Rectangle {
    id: badge

    property string text
    property color tint: VelmoraTheme.success
    property string help: ""

    HoverHandler {
        id: hover
        enabled: badge.help !== ""
    }
    ToolTip.visible: badge.help !== "" && hover.hovered
    ToolTip.delay: 400
    ToolTip.text: badge.help

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
