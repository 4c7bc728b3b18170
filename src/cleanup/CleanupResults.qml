import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmora

// "Cachés encontradas": the status line, the two selection buttons, and the list
// or its empty state.
Card {
    id: results

    required property Item view
    readonly property var scanner: view.scanner
    readonly property bool hasItems: scanner !== null && scanner.itemCount > 0

    radius: 16

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 14
        anchors.leftMargin: 18
        spacing: 6

        RowLayout {
            Layout.fillWidth: true
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 1
                Text {
                    Layout.fillWidth: true
                    text: "Cachés encontradas"
                    color: "white"
                    font.pixelSize: 15
                    font.bold: true
                }
                Text {
                    objectName: "statusLine"
                    Layout.fillWidth: true
                    text: results.scanner ? results.scanner.statusText : ""
                    textFormat: Text.PlainText
                    color: VelmoraTheme.secondaryText
                    font.pixelSize: 12
                    elide: Text.ElideRight
                }
            }
            VelmoraButton {
                objectName: "selectAvailableButton"
                visible: results.hasItems
                kind: "borderless"
                small: true
                text: "Seleccionar disponibles"
                onClicked: results.scanner.selectAllSafe()
            }
            VelmoraButton {
                objectName: "clearSelectionButton"
                visible: results.hasItems
                enabled: results.scanner !== null && results.scanner.selectedItemIDs.length > 0
                kind: "borderless"
                small: true
                text: "Quitar selección"
                onClicked: results.scanner.selectedItemIDs = []
            }
        }

        EmptyState {
            objectName: "emptyState"
            visible: !results.hasItems
            Layout.fillWidth: true
            Layout.fillHeight: true
            symbol: "shippingbox"
            title: "Aún no hay resultados"
            message: "Velmora analiza automáticamente ~/Library/Caches."
        }

        ListView {
            id: list
            objectName: "cacheList"
            visible: results.hasItems
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            model: results.scanner ? results.scanner.items : null
            reuseItems: true
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: VelmoraScrollBar { objectName: "scrollBar" }
            delegate: CleanupRow {
                width: list.width
                recommended: results.view.recommended[itemId] === true
                onToggled: results.scanner.toggleSelection(itemId)
            }
        }
    }
}
