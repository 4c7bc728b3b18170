pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmora
import Velmora.Core

// "Resultados": the empty state or the list of large files.
Card {
    id: results

    required property StorageScanner scanner
    readonly property bool hasFiles: scanner.fileCount > 0

    radius: 16

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 14
        anchors.leftMargin: 18
        spacing: 6

        RowLayout {
            Layout.fillWidth: true
            Text {
                Layout.fillWidth: true
                text: "Resultados"
                color: "white"
                font.pixelSize: 15
                font.bold: true
            }
            VelmoraButton {
                objectName: "selectAllButton"
                visible: results.hasFiles
                kind: "borderless"
                small: true
                text: "Seleccionar todos"
                onClicked: results.scanner.selectAll()
            }
            VelmoraButton {
                objectName: "clearSelectionButton"
                visible: results.hasFiles
                kind: "borderless"
                small: true
                text: "Quitar selección"
                onClicked: results.scanner.clearSelection()
            }
        }

        EmptyState {
            objectName: "emptyState"
            visible: !results.hasFiles
            Layout.fillWidth: true
            Layout.fillHeight: true
            scanner: results.scanner
            title: "Aún no hay resultados"
            message: "Selecciona una carpeta para comenzar."
        }

        ListView {
            id: list
            objectName: "fileList"
            visible: results.hasFiles
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            model: results.scanner.files
            reuseItems: true
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: VelmoraScrollBar { objectName: "scrollBar" }

            delegate: LargeFileRow {
                width: list.width
                onToggled: results.scanner.toggleSelection(itemId)
            }
        }
    }
}
