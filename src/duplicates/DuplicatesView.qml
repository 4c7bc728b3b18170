pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The duplicates screen: choose a folder and a minimum size, review each group of
// identical files with the one that is kept, and move the chosen copies to the
// Trash after confirming.
ResultScreen {
    id: view

    required property DuplicateScanner scanner
    screenScanner: scanner
    property real minimumSizeMB: 10
    readonly property alias minimumMB: controls.minimumMB

    backgroundEnd: Qt.rgba(10 / 255, 10 / 255, 24 / 255, 1)
    selectionHeadline: view.scanner.selectedCount + " duplicado(s) seleccionados"
    cancelText: "Quitar selección"
    actionText: "Mover a la Papelera"
    confirmation.title: "¿Mover los duplicados seleccionados a la Papelera?"
    confirmation.message: view.scanner.selectedCount + " archivo(s), "
                          + Formatters.formatBytes(view.scanner.selectedSize)
    confirmation.onConfirmed: view.scanner.moveSelectedToTrash()

    ScreenHeader {
        Layout.fillWidth: true
        folded: view.folded
        title: "Duplicados"
        subtitle: "Encuentra copias idénticas comparando el contenido real de cada archivo."
        buttonText: view.scanner.isScanning ? "Analizando…" : "Seleccionar carpeta"
        buttonSymbol: "folder.badge.plus"
        buttonEnabled: !view.busy
        onButtonClicked: view.scanner.chooseFolderAndScan(controls.minimumMB)
    }

    SummaryRow {
        compact: view.folded
        cards: [
            { name: "cardGroups", title: "Grupos", symbol: "square.stack.3d.up.fill",
              accent: VelmoraTheme.blue, value: String(view.scanner.groupCount) },
            { name: "cardDuplicates", title: "Duplicados", symbol: "square.on.square",
              accent: VelmoraTheme.violet, value: String(view.scanner.duplicateFilesCount) },
            { name: "cardRecoverable", title: "Recuperable", symbol: "internaldrive.fill",
              accent: VelmoraTheme.cyan, value: Formatters.formatBytes(view.scanner.recoverableSize) },
            { name: "cardSelected", title: "Seleccionado", symbol: "checkmark.circle.fill",
              accent: VelmoraTheme.success, value: Formatters.formatBytes(view.scanner.selectedSize) }
        ]
    }

    FolderScanControls {
        id: controls
        Layout.fillWidth: true
        folded: view.folded
        scanner: view.scanner
        minimumSizeMB: view.minimumSizeMB
        onMinimumSizeMBChanged: view.minimumSizeMB = minimumSizeMB
        from: 1
        to: 1000
        stepSize: 1
        accent: VelmoraTheme.violet

        VelmoraButton {
            objectName: "selectCopiesButton"
            Layout.alignment: Qt.AlignTop
            visible: view.scanner.groupCount > 0
            small: true
            symbol: "wand.and.stars"
            text: "Seleccionar copias"
            onClicked: view.scanner.selectRecommendedCopies()
        }
    }

    DuplicatesResults {
        Layout.fillWidth: true
        Layout.fillHeight: true
        scanner: view.scanner
    }
}
