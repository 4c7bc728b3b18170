import QtQuick
import Velmora

// The keyboard focus ring, drawn just outside the control it belongs to (its
// parent) in the accent colour, as the Mac draws it. Only keyboard focus shows it.
Rectangle {
    id: ring

    property bool shown: false
    // The corner radius of the control it surrounds.
    property real controlRadius: 8

    objectName: "focusRing"
    anchors.fill: parent
    anchors.margins: -3
    radius: controlRadius + 3
    z: 100
    visible: shown
    color: "transparent"
    border.width: 3
    border.color: Qt.rgba(VelmoraTheme.blue.r, VelmoraTheme.blue.g, VelmoraTheme.blue.b, 0.6)
}
