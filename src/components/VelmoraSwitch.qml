import QtQuick
import QtQuick.Layouts
import Velmora

// A labelled on/off switch; `checked` shows what it is given, toggled() asks.
RowLayout {
    id: control

    property string text
    property bool checked: false
    signal toggled

    spacing: 8

    Text {
        text: control.text
        color: "white"
        font.pixelSize: 12
        font.weight: Font.Medium
    }
    Rectangle {
        objectName: "switchTrack"
        implicitWidth: 38
        implicitHeight: 22
        radius: 11
        color: control.checked ? VelmoraTheme.success : Qt.rgba(1, 1, 1, 0.16)
        activeFocusOnTab: true
        Keys.onSpacePressed: control.toggled()
        Keys.onReturnPressed: control.toggled()
        Keys.onEnterPressed: control.toggled()
        Accessible.role: Accessible.CheckBox
        Accessible.name: control.text
        Accessible.checkable: true
        Accessible.checked: control.checked
        Accessible.onToggleAction: control.toggled()
        Accessible.onPressAction: control.toggled()
        FocusRing {
            shown: parent.activeFocus
            controlRadius: 11
        }
        Rectangle {
            width: 18
            height: 18
            radius: 9
            y: 2
            x: control.checked ? parent.width - width - 2 : 2
            color: "white"
            Behavior on x { NumberAnimation { duration: 120 } }
        }
        TapHandler { onTapped: control.toggled() }
    }
}
