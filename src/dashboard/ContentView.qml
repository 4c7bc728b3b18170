import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The window's content: the dashboard, or the open module in its workspace.
Rectangle {
    id: root

    // The open module's raw value; empty shows the dashboard.
    property string selectedModule: ""
    // The full analysis: its coordinator lives as long as the window.
    readonly property FullAnalysisCoordinator fullAnalysisCoordinator: coordinator
    property bool showingFullAnalysis: false
    property bool moduleOpenedFromFullAnalysis: false
    // The filter's case number the protection screen starts with from the summary.
    property int protectionFilterFromAnalysis: 0
    property string lastMessage: "Tu Mac está lista para analizarse."
    // Each module's screen, made anew (with a new scanner) each time it opens.
    readonly property var moduleScreens: ({
        "largeFiles": largeFilesScreen,
        "duplicates": duplicatesScreen,
        "safeCleanup": cleanupScreen,
        "uninstaller": uninstallerScreen,
        "protection": protectionScreen
    })
    // The same screens on the full analysis's own scanners, with its results.
    readonly property var analysisScreens: ({
        "largeFiles": analysisLargeFilesScreen,
        "duplicates": analysisDuplicatesScreen,
        "safeCleanup": analysisCleanupScreen,
        "uninstaller": analysisUninstallerScreen,
        "protection": analysisProtectionScreen
    })

    FullAnalysisCoordinator { id: coordinator }

    Component {
        id: analysisLargeFilesScreen
        LargeFilesView {
            minimumSizeMB: 500
            scanner: coordinator.storageScanner
        }
    }
    Component {
        id: analysisDuplicatesScreen
        DuplicatesView {
            minimumSizeMB: 10
            scanner: coordinator.duplicateScanner
        }
    }
    Component {
        id: analysisCleanupScreen
        CleanupView { scanner: coordinator.cleanupScanner }
    }
    Component {
        id: analysisUninstallerScreen
        UninstallerView { scanner: coordinator.uninstallerScanner }
    }
    Component {
        id: analysisProtectionScreen
        ProtectionView {
            scanner: coordinator.protectionScanner
            initialFilter: root.protectionFilterFromAnalysis
        }
    }

    Component {
        id: largeFilesScreen
        LargeFilesView {
            minimumSizeMB: 500
            scanner: StorageScanner {}
        }
    }
    Component {
        id: duplicatesScreen
        DuplicatesView {
            minimumSizeMB: 10
            scanner: DuplicateScanner {}
        }
    }
    Component {
        id: cleanupScreen
        CleanupView { scanner: CleanupScanner {} }
    }
    Component {
        id: uninstallerScreen
        UninstallerView { scanner: UninstallerScanner {} }
    }
    Component {
        id: protectionScreen
        ProtectionView { scanner: ProtectionScanner {} }
    }

    readonly property var completionTexts: ({
        "largeFiles": "Archivos grandes terminado.",
        "duplicates": "Duplicados terminado.",
        "safeCleanup": "Limpieza segura terminada.",
        "uninstaller": "Desinstalación profunda terminada.",
        "protection": "Protección terminada."
    })

    function openModule(module) {
        moduleOpenedFromFullAnalysis = false;
        if (VelmoraModule.isModule(module))
            selectedModule = module;
    }

    // "Análisis rápido" and "Ver recomendaciones": a finished run starts again;
    // a first run starts when the sheet appears.
    function startQuickAnalysis() {
        moduleOpenedFromFullAnalysis = false;
        if (coordinator.completedSteps === coordinator.totalSteps && !coordinator.isRunning)
            coordinator.start();
        showingFullAnalysis = true;
    }

    function openModuleFromAnalysis(module, filter) {
        moduleOpenedFromFullAnalysis = true;
        protectionFilterFromAnalysis = filter;
        if (VelmoraModule.isModule(module))
            selectedModule = module;
    }

    function goBack() {
        selectedModule = "";
        if (moduleOpenedFromFullAnalysis)
            reopenSummary.restart();
    }

    onShowingFullAnalysisChanged: {
        if (showingFullAnalysis)
            summary.open();
        else
            summary.close();
    }

    Timer {
        id: reopenSummary
        interval: 150
        onTriggered: root.showingFullAnalysis = true
    }

    function analysisCompleted(module) {
        lastMessage = completionTexts[module];
    }

    implicitWidth: 1450
    implicitHeight: 900
    color: VelmoraTheme.dashboardBackground

    DiskStatus { id: disk }

    RowLayout {
        objectName: "dashboard"
        anchors.fill: parent
        spacing: 0
        visible: root.selectedModule === ""
        // Disk figures are read afresh each time the dashboard is shown.
        onVisibleChanged: if (visible) disk.refresh()

        Sidebar {
            objectName: "sidebar"
            Layout.preferredWidth: 235
            Layout.fillHeight: true
            selectedModule: root.selectedModule
            disk: disk
            onShowDashboard: root.selectedModule = ""
            onOpenModule: module => root.openModule(module)
        }
        DashboardContent {
            objectName: "dashboardContent"
            Layout.fillWidth: true
            Layout.fillHeight: true
            disk: disk
            lastMessage: root.lastMessage
            quickAnalysisAvailable: true
            onOpenModule: module => root.openModule(module)
            onStartQuickAnalysis: root.startQuickAnalysis()
            onOpenHistory: historySheet.open()
        }
    }

    Loader {
        anchors.fill: parent
        active: root.selectedModule !== ""
        sourceComponent: ModuleWorkspace {
            objectName: "workspace"
            module: root.selectedModule
            screens: root.moduleOpenedFromFullAnalysis ? root.analysisScreens : root.moduleScreens
            backTitle: root.moduleOpenedFromFullAnalysis ? "Resumen del análisis" : "Panel principal"
            onBack: root.goBack()
            onAnalysisCompleted: module => root.analysisCompleted(module)
        }
    }

    FullAnalysisView {
        id: summary
        objectName: "fullAnalysisSheet"
        coordinator: coordinator
        onClosed: root.showingFullAnalysis = false
        onOpenModuleRequested: (module, filter) => root.openModuleFromAnalysis(module, filter)
    }

    HistorySheet {
        id: historySheet
        objectName: "historySheet"
    }
}
