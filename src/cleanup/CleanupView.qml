import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The safe cleanup screen: the caches of ~/Library/Caches with their sizes and
// protection, smart selection by mode, and removal to the Trash after confirming.
Item {
    id: view

    // Given by the opener, else made here; a new scanner analyses by itself.
    property CleanupScanner scanner
    readonly property CleanupAutomationSettings automation: settings
    signal analysisCompleted

    readonly property bool busy: scanner !== null && (scanner.isScanning || scanner.isMovingToTrash)
    // Identities the current mode recommends, as a set for the rows' badges.
    readonly property var recommended: {
        if (!scanner)
            return ({});
        // Recomputed when the list, the mode or a selection (which may follow a
        // change of running applications) changes.
        scanner.itemCount; scanner.totalSize; scanner.selectedItemIDs; scanner.statusText; settings.mode;
        const set = {};
        for (const id of scanner.recommendedItemIDs(settings.mode))
            set[id] = true;
        return set;
    }
    readonly property real recommendedSize: {
        if (!scanner)
            return 0;
        scanner.itemCount; scanner.totalSize; scanner.selectedItemIDs; scanner.statusText; settings.mode;
        return scanner.recommendedSize(settings.mode);
    }

    function applyMode() { scanner.selectRecommended(settings.mode); }

    CleanupAutomationSettings {
        id: settings
        onModeChanged: if (autoSelectAfterScan && view.scanner && view.scanner.itemCount > 0) view.applyMode()
    }

    Component {
        id: ownScanner
        CleanupScanner {}
    }
    Component.onCompleted: if (!scanner) scanner = ownScanner.createObject(view)

    Connections {
        target: view.scanner
        function onCompletedScanCountChanged() {
            if (view.scanner.completedScanCount < 1)
                return;
            if (settings.autoSelectAfterScan)
                view.applyMode();
            view.analysisCompleted();
        }
        function onItemsChanged() {
            if (!view.scanner.isScanning && settings.autoSelectAfterScan)
                view.applyMode();
        }
    }

    ScreenBackground { anchors.fill: parent }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 28
        spacing: 12
        visible: view.scanner !== null

        RowLayout {
            Layout.fillWidth: true
            spacing: 16
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 4
                Text {
                    text: "Limpieza segura"
                    color: "white"
                    font.pixelSize: 31
                    font.bold: true
                }
                Text {
                    Layout.fillWidth: true
                    text: "Selecciona automáticamente cachés seguras según tamaño, antigüedad y aplicaciones abiertas."
                    color: VelmoraTheme.secondaryText
                    font.pixelSize: 13
                    wrapMode: Text.WordWrap
                }
            }
            Row {
                spacing: 6
                Symbol { name: "checkmark.circle.fill"; size: 16; color: VelmoraTheme.success }
                Text {
                    text: "Ruta automática"
                    color: "white"
                    font.pixelSize: 13
                    font.weight: Font.DemiBold
                }
            }
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: 12
            SummaryCard {
                objectName: "cardFound"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Cachés encontradas"
                symbol: "shippingbox.fill"
                accent: VelmoraTheme.blue
                value: view.scanner ? String(view.scanner.itemCount) : ""
            }
            SummaryCard {
                objectName: "cardDetected"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Espacio detectado"
                symbol: "internaldrive.fill"
                accent: VelmoraTheme.violet
                value: Formatters.formatBytes(view.scanner ? view.scanner.totalSize : 0)
            }
            SummaryCard {
                objectName: "cardRecommended"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Recomendado"
                symbol: "wand.and.stars"
                accent: VelmoraTheme.cyan
                value: Formatters.formatBytes(view.recommendedSize)
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

        CleanupControls {
            Layout.fillWidth: true
            view: view
        }

        CleanupResults {
            Layout.fillWidth: true
            Layout.fillHeight: true
            view: view
        }

        SelectionBar {
            objectName: "selectionBar"
            Layout.fillWidth: true
            headline: (view.scanner ? view.scanner.selectedCount : 0) + " caché(s) seleccionadas"
            detail: Formatters.formatBytes(view.scanner ? view.scanner.selectedSize : 0)
            caption: "Velmora excluye macOS y aplicaciones que están abiertas."
            actionText: "Mover a la Papelera"
            actionSymbol: "trash"
            actionsEnabled: view.scanner !== null && view.scanner.selectedItemIDs.length > 0
                            && !view.scanner.isMovingToTrash
            onCancelSelection: view.scanner.selectedItemIDs = []
            onAction: confirm.open()
        }
    }

    ConfirmDialog {
        id: confirm
        objectName: "trashConfirmation"
        title: "¿Mover las cachés seleccionadas a la Papelera?"
        message: view.scanner
                 ? view.scanner.selectedCount + " elemento(s), " + Formatters.formatBytes(view.scanner.selectedSize)
                   + ". Cierra las aplicaciones relacionadas antes de continuar."
                 : ""
        confirmText: "Mover cachés a la Papelera"
        onConfirmed: view.scanner.moveSelectedToTrash()
    }

    ErrorAlert {
        objectName: "errorAlert"
        errorMessage: view.scanner ? view.scanner.errorMessage : ""
        onDismissed: view.scanner.clearError()
    }
}
