import QtQuick
import QtQuick.Controls.Basic
import Velmora

// A line of link-coloured text that unfolds something below it: a click, or
// Return or Space with the focus on it, toggles `expanded` through `toggled`
// (the row that owns what unfolds keeps the state). A chevron turns with it.
AbstractButton {
    id: disclosure

    property bool expanded: false
    property bool showChevron: true
    property color accent: VelmoraTheme.cyan
    property int pixelSize: 11

    padding: 0
    // Return presses it as any focused button (KeyboardNavigation), Space by itself.
    focusPolicy: Qt.StrongFocus
    Accessible.role: Accessible.Button
    Accessible.name: text
    Accessible.checkable: true
    Accessible.checked: expanded

    HoverHandler {
        enabled: disclosure.enabled
        cursorShape: Qt.PointingHandCursor
    }
    FocusRing {
        shown: disclosure.visualFocus
        controlRadius: 4
    }

    contentItem: Row {
        spacing: 4
        Text {
            objectName: "disclosureText"
            anchors.verticalCenter: parent.verticalCenter
            text: disclosure.text
            color: disclosure.enabled ? disclosure.accent : VelmoraTheme.secondaryText
            font.pixelSize: disclosure.pixelSize
            textFormat: Text.PlainText
        }
        Symbol {
            anchors.verticalCenter: parent.verticalCenter
            visible: disclosure.showChevron && disclosure.enabled
            name: "chevron.right"
            size: 14
            color: disclosure.accent
            rotation: disclosure.expanded ? 90 : 0
        }
    }
    background: Item {}
}
