pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The safe cleanup screen: the caches of ~/Library/Caches with their sizes and
// protection, smart selection by mode, and removal to the Trash after confirming.
ResultScreen {
    id: view

    required property CleanupScanner scanner
    screenScanner: scanner
    readonly property CleanupAutomationSettings automation: settings

    selectionHeadline: view.scanner.selectedCount + " caché(s) seleccionadas"
    selectionCaption: "Velmora excluye macOS y aplicaciones que están abiertas."
    actionText: "Mover a la Papelera"
    confirmation.title: "¿Mover las cachés seleccionadas a la Papelera?"
    confirmation.message: view.scanner.selectedCount + " elemento(s), "
                          + Formatters.formatBytes(view.scanner.selectedSize)
                          + ". Cierra las aplicaciones relacionadas antes de continuar."
    confirmation.confirmText: "Mover cachés a la Papelera"
    confirmation.onConfirmed: view.scanner.moveSelectedToTrash()

    // The mode and switch the scanner's smart selection follows.
    CleanupAutomationSettings { id: settings }
    Binding {
        target: view.scanner
        property: "automation"
        value: settings
    }

    ScreenHeader {
        Layout.fillWidth: true
        folded: view.folded
        title: "Limpieza segura"
        subtitle: "Selecciona automáticamente cachés seguras según tamaño, antigüedad y aplicaciones abiertas."
        buttonVisible: false
        CachesPathLine {
            visible: view.folded
            Layout.fillWidth: true
            Layout.maximumWidth: 520
            scanner: view.scanner
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

    SummaryRow {
        compact: view.folded
        cards: [
            { name: "cardFound", title: "Cachés encontradas", symbol: "shippingbox.fill",
              accent: VelmoraTheme.blue, value: String(view.scanner.itemCount) },
            { name: "cardDetected", title: "Espacio detectado", symbol: "internaldrive.fill",
              accent: VelmoraTheme.violet, value: Formatters.formatBytes(view.scanner.totalSize) },
            { name: "cardRecommended", title: "Recomendado", symbol: "wand.and.stars",
              accent: VelmoraTheme.cyan, value: Formatters.formatBytes(view.scanner.recommendedSize) },
            { name: "cardSelected", title: "Seleccionado", symbol: "checkmark.circle.fill",
              accent: VelmoraTheme.success, value: Formatters.formatBytes(view.scanner.selectedSize) }
        ]
    }

    CleanupControls {
        Layout.fillWidth: true
        folded: view.folded
        scanner: view.scanner
        automation: settings
    }

    CleanupResults {
        Layout.fillWidth: true
        Layout.fillHeight: true
        scanner: view.scanner
    }
}
