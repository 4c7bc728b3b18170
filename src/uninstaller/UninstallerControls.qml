import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmora
import Velmora.Core

// One line: the search field, the progress indicator and the status line.
Card {
    id: controls

    required property UninstallerScanner scanner
    property string searchText

    implicitHeight: 52
    radius: 16

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 18
        anchors.rightMargin: 18
        spacing: 10

        Symbol {
            name: "magnifyingglass"
            size: 18
            color: VelmoraTheme.secondaryText
        }
        TextField {
            id: search
            objectName: "searchField"
            Layout.preferredWidth: 300
            placeholderText: "Buscar aplicación…"
            Accessible.name: "Buscar aplicación"
            placeholderTextColor: VelmoraTheme.mutedText
            text: controls.searchText
            onTextEdited: controls.searchText = text
            color: "white"
            selectionColor: VelmoraTheme.blue
            selectedTextColor: "white"
            font.pixelSize: 13
            leftPadding: 4
            background: Item {
                FocusRing {
                    shown: search.activeFocus
                    controlRadius: 6
                }
            }
        }
        Item { Layout.fillWidth: true }
        ScanStatus {
            Layout.maximumWidth: controls.width * 0.45
            scanner: controls.scanner
        }
    }
}
