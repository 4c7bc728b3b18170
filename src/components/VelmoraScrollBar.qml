import QtQuick
import QtQuick.Controls.Basic

// A thin vertical scroll bar for long lists. It stays in view, faint, whenever the
// list holds more than it shows, so the user can tell there is more; it brightens
// while in use.
ScrollBar {
    id: bar

    policy: ScrollBar.AsNeeded
    minimumSize: 0.06
    padding: 2

    contentItem: Rectangle {
        objectName: "scrollHandle"
        implicitWidth: bar.hovered || bar.pressed ? 8 : 6
        radius: width / 2
        visible: bar.size < 1.0
        color: bar.pressed ? Qt.rgba(1, 1, 1, 0.55)
                           : bar.active || bar.hovered ? Qt.rgba(1, 1, 1, 0.45) : Qt.rgba(1, 1, 1, 0.28)
    }
    background: Item {}
}
