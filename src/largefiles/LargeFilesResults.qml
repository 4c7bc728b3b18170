pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmora
import Velmora.Core

// "Resultados": the empty state or the list of large files, or the map of the
// folder ("Lista | Mapa"). Both show the same selection.
Card {
    id: results

    required property StorageScanner scanner
    required property DiskMapScanner mapScanner
    readonly property bool hasFiles: scanner.fileCount > 0
    property string mode: "Lista"
    readonly property bool showsMap: mode === "Mapa"
    // What the map was last measured for: the list's folder and scan, and the
    // moves to the Trash since. A map that no longer matches is measured again
    // when it is shown, keeping the folder it shows.
    property string mappedFor: ""
    readonly property string listState: scanner.selectedFolder + "#" + scanner.completedScanCount
                                        + "#" + movesDone
    property int movesDone: 0

    function measure() {
        if (results.scanner.selectedFolder === "")
            return;
        results.mappedFor = results.listState;
        results.mapScanner.scan(results.scanner.selectedFolder);
    }
    function measureIfStale() {
        if (results.showsMap && !results.scanner.isScanning && !results.scanner.isMovingToTrash
                && results.mappedFor !== results.listState)
            results.measure();
    }
    onShowsMapChanged: measureIfStale()
    onListStateChanged: measureIfStale()
    Connections {
        target: results.scanner
        function onIsScanningChanged() { results.measureIfStale(); }
        function onIsMovingToTrashChanged() {
            if (!results.scanner.isMovingToTrash)
                results.movesDone += 1;
        }
    }

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
            SegmentedPicker {
                objectName: "viewPicker"
                Layout.preferredWidth: 150
                options: ["Lista", "Mapa"]
                current: results.mode
                accessibleName: "Vista"
                onPicked: option => results.mode = option
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
            visible: !results.hasFiles && !results.showsMap
            Layout.fillWidth: true
            Layout.fillHeight: true
            scanner: results.scanner
            title: "Aún no hay resultados"
            message: "Selecciona una carpeta para comenzar."
        }

        ListView {
            id: list
            objectName: "fileList"
            visible: results.hasFiles && !results.showsMap
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

        DiskMapPanel {
            visible: results.showsMap
            Layout.fillWidth: true
            Layout.fillHeight: true
            scanner: results.scanner
            mapScanner: results.mapScanner
        }
    }
}
