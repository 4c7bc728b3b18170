import QtQuick
import Velmora

// The keyboard focus ring, drawn just outside the control it belongs to (its
// parent). Two tones, a light ring around a dark one, so that one of them
// stands out at least 3:1 from whatever lies behind, dark page or bright
// gradient. Only keyboard focus shows it.
Rectangle {
    id: ring

    property bool shown: false
    // The corner radius of the control it surrounds.
    property real controlRadius: 8

    objectName: "focusRing"
    anchors.fill: parent
    anchors.margins: -4
    radius: controlRadius + 4
    z: 100
    visible: shown
    color: "transparent"
    border.width: 2
    border.color: VelmoraTheme.focusLight

    Rectangle {
        anchors.fill: parent
        anchors.margins: 2
        radius: ring.controlRadius + 2
        color: "transparent"
        border.width: 2
        border.color: VelmoraTheme.focusDark
    }
}
