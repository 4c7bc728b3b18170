import QtQuick
import Velmora

// A checkbox without label. Clicking asks for the change through toggled(); the
// box shows `checked` as given, so it always tells the scanner's selection. A
// disabled box still shows it, faded.
Rectangle {
    id: box

    property bool checked: false
    // What ticking it chooses, for a screen reader.
    property string accessibleName
    signal toggled

    activeFocusOnTab: true
    Keys.onSpacePressed: toggled()
    Keys.onReturnPressed: toggled()
    Keys.onEnterPressed: toggled()
    Accessible.role: Accessible.CheckBox
    Accessible.name: accessibleName
    Accessible.checkable: true
    Accessible.checked: checked
    Accessible.onToggleAction: toggled()
    Accessible.onPressAction: toggled()
    FocusRing {
        shown: box.activeFocus
        controlRadius: box.radius
    }

    implicitWidth: 18
    implicitHeight: 18
    radius: 5
    opacity: enabled ? 1 : 0.35
    color: checked ? VelmoraTheme.blue : "transparent"
    border.color: checked ? VelmoraTheme.blue : Qt.rgba(1, 1, 1, 0.45)
    border.width: 1.5

    Symbol {
        anchors.centerIn: parent
        visible: box.checked
        name: "checkmark"
        size: 14
        color: "white"
    }
    TapHandler {
        onTapped: box.toggled()
    }
}
