import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmora

// The screens' button, in three kinds: "bordered" (translucent with a hairline),
// "prominent" (filled with the accent) and "borderless" (text only).
Button {
    id: control

    property string kind: "bordered"
    property string symbol
    property color accent: VelmoraTheme.blue
    property bool small: false
    // Shown when the pointer rests on the button.
    property string help

    Accessible.name: text !== "" ? text : help
    Accessible.description: text !== "" ? help : ""
    ToolTip.visible: help !== "" && hovered
    ToolTip.delay: 600
    ToolTip.text: help

    readonly property color labelColor: kind === "borderless" ? accent : "white"

    leftPadding: small ? 10 : 14
    rightPadding: small ? 10 : 14
    topPadding: small ? 5 : 8
    bottomPadding: small ? 5 : 8
    opacity: enabled ? 1 : 0.4

    HoverHandler { cursorShape: Qt.PointingHandCursor }
    FocusRing {
        shown: control.visualFocus
        controlRadius: control.small ? 8 : 10
    }

    contentItem: RowLayout {
        spacing: 6
        Symbol {
            visible: control.symbol !== ""
            name: control.symbol
            size: control.small ? 14 : 16
            color: control.labelColor
        }
        Text {
            visible: control.text !== ""
            text: control.text
            color: control.labelColor
            font.pixelSize: control.small ? 12 : 13
            font.weight: Font.DemiBold
        }
    }

    background: Rectangle {
        implicitHeight: control.small ? 28 : 34
        radius: control.small ? 8 : 10
        visible: control.kind !== "borderless"
        color: control.kind === "prominent"
               ? (control.down ? Qt.darker(control.accent, 1.2) : control.accent)
               : (control.down ? Qt.rgba(1, 1, 1, 0.14)
                               : control.hovered ? Qt.rgba(1, 1, 1, 0.1) : Qt.rgba(1, 1, 1, 0.06))
        border.color: control.kind === "prominent" ? "transparent" : VelmoraTheme.border
        border.width: 1
    }
}
