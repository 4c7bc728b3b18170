pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The uninstaller: the installed applications with their leftovers in the
// user's Library, a search, and the move of the chosen applications with their
// leftovers to the Trash after confirming.
ResultScreen {
    id: view

    required property UninstallerScanner scanner
    screenScanner: scanner
    property alias searchText: controls.searchText
    readonly property ApplicationFilterModel filteredApplications: filter

    backgroundEnd: Qt.rgba(18 / 255, 10 / 255, 5 / 255, 1)
    selectionHeadline: view.scanner.selectedCount + " aplicación(es) seleccionadas"
    actionText: "Desinstalar"
    actionAccent: "#FF9F0A"
    confirmation.objectName: "uninstallConfirmation"
    confirmation.title: "¿Desinstalar las aplicaciones seleccionadas?"
    confirmation.message: view.scanner.selectedCount + " aplicación(es), "
                          + Formatters.formatBytes(view.scanner.selectedSize)
                          + ". Podrás recuperarlas desde la Papelera."
                          + (view.scanner.selectedKeptCount > 0
                             ? " Se conservarán " + view.scanner.selectedKeptCount
                               + " archivo(s) relacionados que pueden ser de otras aplicaciones o del sistema."
                             : "")
    confirmation.confirmText: "Mover aplicaciones y archivos relacionados a la Papelera"
    confirmation.onConfirmed: view.scanner.uninstallSelected()

    ApplicationFilterModel {
        id: filter
        sourceModel: view.scanner.applications
        searchText: view.searchText
    }

    ScreenHeader {
        Layout.fillWidth: true
        folded: view.folded
        title: "Desinstalación profunda"
        subtitle: "Localiza aplicaciones y sus archivos relacionados antes de eliminarlos."
        buttonText: view.scanner.isScanning ? "Analizando…" : "Volver a analizar"
        buttonSymbol: "arrow.clockwise"
        buttonEnabled: !view.busy
        onButtonClicked: view.scanner.scanApplications()
    }

    SummaryRow {
        compact: view.folded
        cards: [
            { name: "cardApplications", title: "Aplicaciones", symbol: "app.fill",
              accent: VelmoraTheme.blue, value: String(view.scanner.applicationCount) },
            { name: "cardSelected", title: "Seleccionadas", symbol: "checkmark.circle.fill",
              accent: VelmoraTheme.success, value: String(view.scanner.selectedCount) },
            { name: "cardSelectedSize", title: "Espacio seleccionado", symbol: "internaldrive.fill",
              accent: VelmoraTheme.violet, value: Formatters.formatBytes(view.scanner.selectedSize) },
            { name: "cardState", title: "Estado", symbol: "gearshape.fill",
              accent: VelmoraTheme.warning, value: view.scanner.isScanning ? "Analizando" : "Listo" }
        ]
    }

    UninstallerControls {
        id: controls
        Layout.fillWidth: true
        scanner: view.scanner
    }

    UninstallerResults {
        Layout.fillWidth: true
        Layout.fillHeight: true
        scanner: view.scanner
        applications: filter
    }
}
