pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Velmora

// A row of mutually exclusive segments; `current` is the chosen label.
Rectangle {
    id: picker

    property list<string> options
    property string current
    signal picked(string option)

    implicitHeight: 30
    radius: 9
    color: Qt.rgba(1, 1, 1, 0.06)
    border.color: VelmoraTheme.border

    // Tab reaches the picker; the arrow keys pick the neighbouring segment.
    // What is picked, for a screen reader ("Filtro", "Modo").
    property string accessibleName
    activeFocusOnTab: true
    Accessible.role: Accessible.PageTabList
    Accessible.name: accessibleName + ": " + current
    Accessible.description: "Usa las flechas izquierda y derecha para cambiar."
    function step(by) {
        const next = options.indexOf(current) + by;
        if (next >= 0 && next < options.length)
            picked(options[next]);
    }
    Keys.onLeftPressed: step(-1)
    Keys.onRightPressed: step(1)
    FocusRing {
        shown: picker.activeFocus
        controlRadius: picker.radius
    }

    RowLayout {
        anchors.fill: parent
        anchors.margins: 2
        spacing: 2
        Repeater {
            model: picker.options
            delegate: Rectangle {
                required property string modelData
                objectName: "segment_" + modelData
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.preferredWidth: 1
                radius: 7
                color: picker.current === modelData ? VelmoraTheme.blue : "transparent"
                Text {
                    anchors.centerIn: parent
                    text: parent.modelData
                    color: "white"
                    font.pixelSize: 12
                    font.weight: picker.current === parent.modelData ? Font.Bold : Font.Medium
                }
                TapHandler { onTapped: picker.picked(parent.modelData) }
            }
        }
    }
}
