import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmora

// The dashboard's main button: white headline text on the blue-to-teal gradient
// with a blue glow; pressed it dims and shrinks slightly.
Button {
    id: control

    property string symbol

    Accessible.name: text

    leftPadding: 22
    rightPadding: 22
    topPadding: 13
    bottomPadding: 13
    opacity: !enabled ? 0.45 : (down ? 0.8 : 1)
    scale: down ? 0.98 : 1

    FocusRing {
        shown: control.visualFocus
        controlRadius: 13
    }

    contentItem: RowLayout {
        spacing: 8
        Symbol {
            visible: control.symbol !== ""
            name: control.symbol
            size: 18
            color: "white"
        }
        Text {
            text: control.text
            color: "white"
            font.pixelSize: 15
            font.bold: true
        }
    }

    background: Item {
        implicitHeight: 44
        Rectangle {
            // Glow.
            anchors.fill: parent
            anchors.margins: -6
            radius: 19
            color: Qt.rgba(VelmoraTheme.blue.r, VelmoraTheme.blue.g, VelmoraTheme.blue.b, 0.12)
            visible: control.enabled
        }
        Rectangle {
            anchors.fill: parent
            radius: 13
            gradient: Gradient {
                orientation: Gradient.Horizontal
                GradientStop { position: 0; color: Qt.rgba(85 / 255, 121 / 255, 245 / 255, 1) }
                GradientStop { position: 1; color: Qt.rgba(36 / 255, 216 / 255, 191 / 255, 1) }
            }
        }
    }
}
