import QtQuick
import Velmora

// A checkbox without label. Clicking asks for the change through toggled(); the
// box shows `checked` as given, so it always tells the scanner's selection.
Rectangle {
    id: box

    property bool checked: false
    property bool enabledBox: true
    signal toggled

    activeFocusOnTab: enabledBox
    Keys.onSpacePressed: if (enabledBox) toggled()
    FocusRing {
        shown: box.activeFocus
        controlRadius: box.radius
    }

    implicitWidth: 18
    implicitHeight: 18
    radius: 5
    opacity: enabledBox ? 1 : 0.35
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
        enabled: box.enabledBox
        onTapped: box.toggled()
    }
}
