import QtQuick
import QtQuick.Layouts
import Velmora

// One entry of the sidebar.
Rectangle {
    id: button

    property string title
    property string symbol
    property color accent: VelmoraTheme.blue
    property bool selected: false
    signal action

    implicitHeight: 46
    radius: 12
    color: hover.hovered && !selected ? Qt.rgba(1, 1, 1, 0.04) : "transparent"

    // The selected fill is its own layer: a gradient switched on and off by a
    // binding on the row's own `gradient` was never drawn.
    Rectangle {
        objectName: "selectedFill"
        anchors.fill: parent
        radius: parent.radius
        visible: button.selected
        gradient: Gradient {
            orientation: Gradient.Horizontal
            GradientStop { position: 0; color: Qt.rgba(77 / 255, 117 / 255, 245 / 255, 1) }
            GradientStop { position: 1; color: Qt.rgba(40 / 255, 217 / 255, 196 / 255, 1) }
        }
    }

    HoverHandler { id: hover }
    TapHandler { onTapped: button.action() }
    activeFocusOnTab: true
    Accessible.role: Accessible.Button
    Accessible.name: title
    Accessible.onPressAction: action()
    Keys.onSpacePressed: action()
    Keys.onReturnPressed: action()
    Keys.onEnterPressed: action()
    FocusRing {
        shown: button.activeFocus
        controlRadius: button.radius
    }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 6
        anchors.rightMargin: 10
        spacing: 8

        Rectangle {
            Layout.preferredWidth: 35
            Layout.preferredHeight: 35
            radius: 10
            color: button.selected ? Qt.rgba(1, 1, 1, 0.16) : "transparent"
            Symbol {
                anchors.centerIn: parent
                name: button.symbol
                size: 19
                color: button.selected ? "white" : Qt.rgba(1, 1, 1, 0.68)
            }
        }
        Text {
            Layout.fillWidth: true
            text: button.title
            font.pixelSize: 13
            font.bold: true
            color: button.selected ? "white" : Qt.rgba(1, 1, 1, 0.82)
            elide: Text.ElideRight
        }
        Rectangle {
            visible: button.selected
            Layout.preferredWidth: 5
            Layout.preferredHeight: 5
            radius: 2.5
            color: "white"
        }
    }
}
