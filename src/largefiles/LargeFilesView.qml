pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The large files screen: choose a folder and a minimum size, review what was
// found, and move the chosen files to the Trash after confirming.
ResultScreen {
    id: view

    required property StorageScanner scanner
    screenScanner: scanner
    property real minimumSizeMB: 500
    readonly property alias minimumMB: controls.minimumMB

    selectionHeadline: view.scanner.selectedCount + " archivo(s) seleccionados"
    actionText: "Mover a la Papelera"
    confirmation.title: "¿Mover los archivos seleccionados a la Papelera?"
    confirmation.message: view.scanner.selectedCount + " archivo(s), "
                          + Formatters.formatBytes(view.scanner.selectedSize)
                          + ". Podrás recuperarlos desde la Papelera."
    confirmation.onConfirmed: view.scanner.moveSelectedToTrash()

    ScreenHeader {
        Layout.fillWidth: true
        folded: view.folded
        title: "Archivos grandes"
        subtitle: "Encuentra los archivos que más espacio ocupan antes de decidir qué hacer."
        buttonText: view.scanner.isScanning ? "Analizando…" : "Seleccionar carpeta"
        buttonSymbol: "folder.badge.plus"
        buttonEnabled: !view.busy
        onButtonClicked: view.scanner.chooseFolderAndScan(controls.minimumMB)
    }

    SummaryRow {
        compact: view.folded
        cards: [
            { name: "cardFound", title: "Encontrados", symbol: "doc.fill", accent: VelmoraTheme.blue,
              value: String(view.scanner.fileCount) },
            { name: "cardDetected", title: "Espacio detectado", symbol: "internaldrive.fill",
              accent: VelmoraTheme.violet, value: Formatters.formatBytes(view.scanner.totalSize) },
            { name: "cardSelected", title: "Seleccionados", symbol: "checkmark.circle.fill",
              accent: VelmoraTheme.success, value: Formatters.formatBytes(view.scanner.selectedSize) },
            { name: "cardFolder", title: "Carpeta", symbol: "folder.fill", accent: VelmoraTheme.cyan,
              value: view.scanner.selectedFolder !== ""
                     ? view.scanner.selectedFolder.split("/").pop() || "/" : "Sin seleccionar" }
        ]
    }

    FolderScanControls {
        id: controls
        Layout.fillWidth: true
        folded: view.folded
        scanner: view.scanner
        minimumSizeMB: view.minimumSizeMB
        onMinimumSizeMBChanged: view.minimumSizeMB = minimumSizeMB
        from: 100
        to: 5000
        stepSize: 100
    }

    // The map's own walk: every folder's total, hidden entries and bundles included.
    DiskMapScanner {
        id: mapScanner
    }

    LargeFilesResults {
        objectName: "largeFilesResults"
        Layout.fillWidth: true
        Layout.fillHeight: true
        scanner: view.scanner
        mapScanner: mapScanner
    }
}
