import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmora

// One line: the search field, the progress indicator and the status line.
Card {
    id: controls

    required property Item view
    readonly property var scanner: view.scanner

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
            placeholderTextColor: VelmoraTheme.mutedText
            text: controls.view.searchText
            onTextEdited: controls.view.searchText = text
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
        Spinner {
            objectName: "progressIndicator"
            visible: controls.view.busy
        }
        Text {
            objectName: "statusLine"
            Layout.maximumWidth: controls.width * 0.45
            text: controls.scanner ? controls.scanner.statusText : ""
            textFormat: Text.PlainText
            color: VelmoraTheme.secondaryText
            font.pixelSize: 13
            elide: Text.ElideRight
        }
    }
}
