import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The uninstaller: the installed applications with their leftovers in the
// user's Library, a search, and the move of the chosen applications with their
// leftovers to the Trash after confirming.
Item {
    id: view

    // Given by the opener, else made here; a new scanner analyses by itself.
    property UninstallerScanner scanner
    property string searchText: ""
    readonly property ApplicationFilterModel filteredApplications: filter
    signal analysisCompleted

    readonly property bool busy: scanner !== null && (scanner.isScanning || scanner.isUninstalling)

    ApplicationFilterModel {
        id: filter
        sourceModel: view.scanner ? view.scanner.applications : null
        searchText: view.searchText
    }

    Component {
        id: ownScanner
        UninstallerScanner {}
    }
    Component.onCompleted: if (!scanner) scanner = ownScanner.createObject(view)

    Connections {
        target: view.scanner
        function onCompletedScanCountChanged() {
            if (view.scanner.completedScanCount >= 1)
                view.analysisCompleted();
        }
    }

    ScreenBackground {
        anchors.fill: parent
        endColor: Qt.rgba(18 / 255, 10 / 255, 5 / 255, 1)
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 28
        spacing: 18
        visible: view.scanner !== null

        ScreenHeader {
            Layout.fillWidth: true
            title: "Desinstalación profunda"
            subtitle: "Localiza aplicaciones y sus archivos relacionados antes de eliminarlos."
            buttonText: view.scanner && view.scanner.isScanning ? "Analizando…" : "Volver a analizar"
            buttonSymbol: "arrow.clockwise"
            buttonEnabled: !view.busy
            onButtonClicked: view.scanner.scanApplications()
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: 12
            SummaryCard {
                objectName: "cardApplications"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Aplicaciones"
                symbol: "app.fill"
                accent: VelmoraTheme.blue
                value: view.scanner ? String(view.scanner.applicationCount) : ""
            }
            SummaryCard {
                objectName: "cardSelected"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Seleccionadas"
                symbol: "checkmark.circle.fill"
                accent: VelmoraTheme.success
                value: view.scanner ? String(view.scanner.selectedCount) : ""
            }
            SummaryCard {
                objectName: "cardSelectedSize"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Espacio seleccionado"
                symbol: "internaldrive.fill"
                accent: VelmoraTheme.violet
                value: Formatters.formatBytes(view.scanner ? view.scanner.selectedSize : 0)
            }
            SummaryCard {
                objectName: "cardState"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Estado"
                symbol: "gearshape.fill"
                accent: VelmoraTheme.warning
                value: view.scanner && view.scanner.isScanning ? "Analizando" : "Listo"
            }
        }

        UninstallerControls {
            Layout.fillWidth: true
            view: view
        }

        UninstallerResults {
            Layout.fillWidth: true
            Layout.fillHeight: true
            view: view
        }

        SelectionBar {
            objectName: "selectionBar"
            Layout.fillWidth: true
            headline: (view.scanner ? view.scanner.selectedCount : 0) + " aplicación(es) seleccionadas"
            detail: Formatters.formatBytes(view.scanner ? view.scanner.selectedSize : 0)
            actionText: "Desinstalar"
            actionSymbol: "trash"
            actionAccent: "#FF9F0A"
            actionsEnabled: view.scanner !== null && view.scanner.selectedApplicationIDs.length > 0
            onCancelSelection: view.scanner.selectedApplicationIDs = []
            onAction: confirm.open()
        }
    }

    ConfirmDialog {
        id: confirm
        objectName: "uninstallConfirmation"
        title: "¿Desinstalar las aplicaciones seleccionadas?"
        message: view.scanner
                 ? view.scanner.selectedCount + " aplicación(es), " + Formatters.formatBytes(view.scanner.selectedSize)
                   + ". Podrás recuperarlas desde la Papelera."
                 : ""
        confirmText: "Mover aplicaciones y archivos relacionados a la Papelera"
        onConfirmed: view.scanner.uninstallSelected()
    }

    ErrorAlert {
        objectName: "errorAlert"
        errorMessage: view.scanner ? view.scanner.errorMessage : ""
        onDismissed: view.scanner.clearError()
    }
}
