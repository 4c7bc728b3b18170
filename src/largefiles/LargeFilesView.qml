import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The large files screen: choose a folder and a minimum size, review what was
// found, and move the chosen files to the Trash after confirming.
Item {
    id: view

    // Given by the opener, else made by the screen (and dropped with it).
    property StorageScanner scanner
    property real minimumSizeMB: 500
    signal analysisCompleted

    readonly property bool busy: scanner && (scanner.isScanning || scanner.isMovingToTrash)
    readonly property int minimumMB: Math.trunc(minimumSizeMB)

    Component {
        id: ownScanner
        StorageScanner {}
    }
    Component.onCompleted: if (!scanner) scanner = ownScanner.createObject(view)

    Connections {
        target: view.scanner
        function onCompletedScanCountChanged() {
            if (view.scanner.completedScanCount >= 1)
                view.analysisCompleted();
        }
    }

    ScreenBackground { anchors.fill: parent }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 28
        spacing: 14
        visible: view.scanner !== null

        ScreenHeader {
            Layout.fillWidth: true
            title: "Archivos grandes"
            subtitle: "Encuentra los archivos que más espacio ocupan antes de decidir qué hacer."
            buttonText: view.scanner && view.scanner.isScanning ? "Analizando…" : "Seleccionar carpeta"
            buttonSymbol: "folder.badge.plus"
            buttonEnabled: !view.busy
            onButtonClicked: view.scanner.chooseFolderAndScan(view.minimumMB)
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: 12
            SummaryCard {
                objectName: "cardFound"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Encontrados"
                symbol: "doc.fill"
                accent: VelmoraTheme.blue
                value: view.scanner ? String(view.scanner.fileCount) : ""
            }
            SummaryCard {
                objectName: "cardDetected"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Espacio detectado"
                symbol: "internaldrive.fill"
                accent: VelmoraTheme.violet
                value: view.scanner ? Formatters.formatBytes(view.scanner.totalSize) : ""
            }
            SummaryCard {
                objectName: "cardSelected"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Seleccionados"
                symbol: "checkmark.circle.fill"
                accent: VelmoraTheme.success
                value: view.scanner ? Formatters.formatBytes(view.scanner.selectedSize) : ""
            }
            SummaryCard {
                objectName: "cardFolder"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Carpeta"
                symbol: "folder.fill"
                accent: VelmoraTheme.cyan
                value: view.scanner && view.scanner.selectedFolder !== ""
                       ? view.scanner.selectedFolder.split("/").pop() || "/"
                       : "Sin seleccionar"
            }
        }

        LargeFilesControls {
            Layout.fillWidth: true
            view: view
        }

        LargeFilesResults {
            Layout.fillWidth: true
            Layout.fillHeight: true
            scanner: view.scanner
        }

        SelectionBar {
            objectName: "selectionBar"
            Layout.fillWidth: true
            headline: (view.scanner ? view.scanner.selectedCount : 0) + " archivo(s) seleccionados"
            detail: Formatters.formatBytes(view.scanner ? view.scanner.selectedSize : 0)
            actionText: "Mover a la Papelera"
            actionSymbol: "trash"
            actionsEnabled: view.scanner !== null && view.scanner.selectedCount > 0
            onCancelSelection: view.scanner.selectedFileIDs = []
            onAction: confirm.open()
        }
    }

    ConfirmDialog {
        id: confirm
        objectName: "trashConfirmation"
        title: "¿Mover los archivos seleccionados a la Papelera?"
        message: view.scanner
                 ? view.scanner.selectedCount + " archivo(s), " + Formatters.formatBytes(view.scanner.selectedSize)
                   + ". Podrás recuperarlos desde la Papelera."
                 : ""
        confirmText: "Mover a la Papelera"
        onConfirmed: view.scanner.moveSelectedToTrash()
    }

    ErrorAlert {
        objectName: "errorAlert"
        errorMessage: view.scanner ? view.scanner.errorMessage : ""
        onDismissed: view.scanner.clearError()
    }
}
