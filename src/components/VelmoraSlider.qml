import QtQuick
import QtQuick.Controls.Basic
import Velmora

// The screens' slider: a thin track, the filled part in the accent gradient.
Slider {
    id: control

    snapMode: Slider.SnapAlways

    FocusRing {
        anchors.fill: undefined
        anchors.centerIn: control.handle
        width: control.handle.width + 6
        height: control.handle.height + 6
        anchors.margins: 0
        controlRadius: 9
        shown: control.visualFocus
    }

    background: Rectangle {
        x: control.leftPadding
        y: control.topPadding + control.availableHeight / 2 - height / 2
        implicitWidth: 200
        implicitHeight: 4
        width: control.availableWidth
        height: implicitHeight
        radius: 2
        color: Qt.rgba(1, 1, 1, 0.12)
        Rectangle {
            width: control.visualPosition * parent.width
            height: parent.height
            radius: 2
            gradient: Gradient {
                orientation: Gradient.Horizontal
                GradientStop { position: 0; color: VelmoraTheme.violet }
                GradientStop { position: 1; color: VelmoraTheme.cyan }
            }
        }
    }
    handle: Rectangle {
        x: control.leftPadding + control.visualPosition * (control.availableWidth - width)
        y: control.topPadding + control.availableHeight / 2 - height / 2
        implicitWidth: 18
        implicitHeight: 18
        radius: 9
        color: control.pressed ? "#DDE7F5" : "white"
        border.color: Qt.rgba(0, 0, 0, 0.2)
    }
}
