import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The duplicates screen: choose a folder and a minimum size, review each group of
// identical files with the one that is kept, and move the chosen copies to the
// Trash after confirming.
Item {
    id: view

    property DuplicateScanner scanner
    property real minimumSizeMB: 10
    signal analysisCompleted

    readonly property bool busy: scanner !== null && (scanner.isScanning || scanner.isMovingToTrash)
    readonly property int minimumMB: Math.trunc(minimumSizeMB)

    Component {
        id: ownScanner
        DuplicateScanner {}
    }
    Component.onCompleted: if (!scanner) scanner = ownScanner.createObject(view)

    Connections {
        target: view.scanner
        function onCompletedScanCountChanged() {
            if (view.scanner.completedScanCount < 1)
                return;
            view.scanner.selectRecommendedCopies();
            view.analysisCompleted();
        }
    }

    Rectangle {
        anchors.fill: parent
        gradient: Gradient {
            orientation: Gradient.Vertical
            GradientStop { position: 0; color: VelmoraTheme.windowBackground }
            GradientStop { position: 1; color: Qt.rgba(10 / 255, 10 / 255, 24 / 255, 1) }
        }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 28
        spacing: 18
        visible: view.scanner !== null

        ScreenHeader {
            Layout.fillWidth: true
            title: "Duplicados"
            subtitle: "Encuentra copias idénticas comparando el contenido real de cada archivo."
            buttonText: view.scanner && view.scanner.isScanning ? "Analizando…" : "Seleccionar carpeta"
            buttonSymbol: "folder.badge.plus"
            buttonEnabled: !view.busy
            onButtonClicked: view.scanner.chooseFolderAndScan(view.minimumMB)
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: 12
            SummaryCard {
                objectName: "cardGroups"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Grupos"
                symbol: "square.stack.3d.up.fill"
                accent: VelmoraTheme.blue
                value: view.scanner ? String(view.scanner.groupCount) : ""
            }
            SummaryCard {
                objectName: "cardDuplicates"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Duplicados"
                symbol: "square.on.square"
                accent: VelmoraTheme.violet
                value: view.scanner ? String(view.scanner.duplicateFilesCount) : ""
            }
            SummaryCard {
                objectName: "cardRecoverable"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Recuperable"
                symbol: "internaldrive.fill"
                accent: VelmoraTheme.cyan
                value: Formatters.formatBytes(view.scanner ? view.scanner.recoverableSize : 0)
            }
            SummaryCard {
                objectName: "cardSelected"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Seleccionado"
                symbol: "checkmark.circle.fill"
                accent: VelmoraTheme.success
                value: Formatters.formatBytes(view.scanner ? view.scanner.selectedSize : 0)
            }
        }

        DuplicatesControls {
            Layout.fillWidth: true
            view: view
        }

        DuplicatesResults {
            Layout.fillWidth: true
            Layout.fillHeight: true
            scanner: view.scanner
        }

        SelectionBar {
            objectName: "selectionBar"
            Layout.fillWidth: true
            headline: (view.scanner ? view.scanner.selectedCount : 0) + " duplicado(s) seleccionados"
            detail: Formatters.formatBytes(view.scanner ? view.scanner.selectedSize : 0)
            cancelText: "Quitar selección"
            actionText: "Mover a la Papelera"
            actionSymbol: "trash"
            actionsEnabled: view.scanner !== null && view.scanner.selectedFileIDs.length > 0
            onCancelSelection: view.scanner.selectedFileIDs = []
            onAction: confirm.open()
        }
    }

    ConfirmDialog {
        id: confirm
        objectName: "trashConfirmation"
        title: "¿Mover los duplicados seleccionados a la Papelera?"
        message: view.scanner
                 ? view.scanner.selectedCount + " archivo(s), " + Formatters.formatBytes(view.scanner.selectedSize)
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
