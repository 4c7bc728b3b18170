pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The protection screen: analyses of the important locations or of a chosen
// folder, the findings by threat level with a filter, trust, and the move of
// the chosen findings to the quarantine, from which they can be restored.
ResultScreen {
    id: view

    required property ProtectionScanner scanner
    screenScanner: scanner
    // The filter shown when the screen appears, and the current one, as the
    // filter's case number (0 "Todos" … 4 "Seguros").
    property int initialFilter: 0
    property int filter: initialFilter
    // Start an analysis when the screen appears and nothing was analysed yet.
    property bool autoStartAnalysis: false
    readonly property ProtectionTrustStore trustStore: trust
    readonly property ProtectionQuarantineManager quarantine: manager
    readonly property ProtectionFindingFilter filteredFindings: filtered
    readonly property list<string> filterTitles: ["Todos", "Peligrosos", "Sospechosos", "Revisar", "Seguros"]
    property alias showingQuarantine: quarantineSheet.visible

    backgroundEnd: Qt.rgba(20 / 255, 8 / 255, 12 / 255, 1)
    selectionSymbol: "archivebox.fill"
    selectionHeadline: view.scanner.selectedCount + " elemento(s) seleccionados"
    selectionCaption: "Los elementos se podrán restaurar desde Cuarentena."
    actionText: "Mover a cuarentena"
    actionSymbol: "archivebox.fill"
    actionAccent: VelmoraTheme.warning
    actionBlocked: manager.isWorking
    idleBar: Qt.resolvedUrl("ProtectionSafetyBar.qml")
    confirmation.objectName: "quarantineConfirmation"
    confirmation.title: "¿Mover los elementos seleccionados a cuarentena?"
    confirmation.message: view.scanner.selectedCount + " elemento(s), "
                          + Formatters.formatBytes(view.scanner.selectedSize)
                          + ". Podrás restaurarlos posteriormente."
    confirmation.confirmText: "Mover a cuarentena"
    confirmation.onConfirmed: view.scanner.quarantineSelected()
    alertMessage: view.scanner.errorMessage !== "" ? view.scanner.errorMessage
                                                   : manager.errorMessage
    onAlertDismissed: manager.clearError()

    ProtectionTrustStore { id: trust }
    ProtectionQuarantineManager { id: manager }
    Binding {
        target: view.scanner
        property: "trustStore"
        value: trust
    }
    Binding {
        target: view.scanner
        property: "quarantine"
        value: manager
    }
    ProtectionFindingFilter {
        id: filtered
        sourceModel: view.scanner.findings
        filter: view.filter
    }

    Component.onCompleted: {
        if (view.autoStartAnalysis && view.scanner.findingCount === 0 && !view.scanner.isScanning)
            view.scanner.runFullScan();
    }

    ScreenHeader {
        Layout.fillWidth: true
        folded: view.folded
        gradientTitle: true
        title: "Protección"
        subtitle: "Detecta amenazas y permite aislarlas de forma segura."
        buttonSymbol: "shield.checkered"
        buttonText: view.scanner.isScanning ? "Analizando…" : "Iniciar análisis"
        buttonEnabled: !view.scanner.isScanning
        onButtonClicked: {
            view.scanner.configureAutomaticLocations();
            view.scanner.runFullScan();
        }
        VelmoraButton {
            objectName: "quarantineButton"
            small: view.folded
            symbol: "archivebox.fill"
            text: "Cuarentena " + manager.recordCount
            onClicked: quarantineSheet.open()
        }
        VelmoraButton {
            objectName: "chooseFolderButton"
            small: view.folded
            symbol: "folder.badge.questionmark"
            text: "Analizar carpeta"
            enabled: !view.scanner.isScanning
            onClicked: view.scanner.chooseLocationAndScan()
        }
    }

    SummaryRow {
        compact: view.folded
        cards: [
            { name: "cardDangerous", title: "Peligrosos", symbol: "exclamationmark.octagon.fill",
              accent: VelmoraTheme.danger, value: String(view.scanner.dangerousCount) },
            { name: "cardSuspicious", title: "Sospechosos", symbol: "exclamationmark.triangle.fill",
              accent: VelmoraTheme.warning, value: String(view.scanner.suspiciousCount) },
            { name: "cardReview", title: "Por revisar", symbol: "questionmark.diamond.fill",
              accent: VelmoraTheme.violet, value: String(view.scanner.reviewCount) },
            { name: "cardSafe", title: "Seguros", symbol: "checkmark.shield.fill",
              accent: VelmoraTheme.success, value: String(view.scanner.safeCount) }
        ]
    }

    ProtectionStatusCard {
        Layout.fillWidth: true
        folded: view.folded
        scanner: view.scanner
        manager: manager
        onRescan: {
            view.scanner.clearSelection();
            view.scanner.runFullScan();
        }
    }

    ProtectionResults {
        Layout.fillWidth: true
        Layout.fillHeight: true
        scanner: view.scanner
        findings: filtered
        filterTitles: view.filterTitles
        filter: view.filter
        onFilterPicked: index => view.filter = index
    }

    ProtectionQuarantineView {
        id: quarantineSheet
        objectName: "quarantineSheet"
        manager: manager
    }
}
