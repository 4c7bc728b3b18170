pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmora
import Velmora.Core

// "Cachés encontradas": the status line, the two selection buttons, and the list
// or its empty state.
Card {
    id: results

    required property CleanupScanner scanner
    readonly property bool hasItems: scanner.itemCount > 0
    // What the current mode recommends, as a set for the rows' badges.
    readonly property var recommended: {
        const set = {};
        for (const id of scanner.recommendedIDs)
            set[id] = true;
        return set;
    }

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
                    text: results.scanner.statusText
                    textFormat: Text.PlainText
                    color: VelmoraTheme.secondaryText
                    font.pixelSize: 12
                    elide: Text.ElideRight
                }
                ScanStatus {
                    Layout.fillWidth: true
                    scanner: results.scanner
                    showStatus: false
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
                enabled: results.scanner.hasSelection
                kind: "borderless"
                small: true
                text: "Quitar selección"
                onClicked: results.scanner.clearSelection()
            }
        }

        EmptyState {
            objectName: "emptyState"
            visible: !results.hasItems
            Layout.fillWidth: true
            Layout.fillHeight: true
            symbol: "shippingbox"
            scanner: results.scanner
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
            model: results.scanner.items
            reuseItems: true
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: VelmoraScrollBar { objectName: "scrollBar" }
            delegate: CleanupRow {
                width: list.width
                recommended: results.recommended[itemId] === true
                inUseBy: results.scanner.inUseApplications[itemId] ?? ""
                onToggled: results.scanner.toggleSelection(itemId)
            }
        }
    }
}
