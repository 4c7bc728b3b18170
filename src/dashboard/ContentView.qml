import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The window's content: the dashboard, or the open module in its workspace.
Rectangle {
    id: root

    // The open module's raw value; empty shows the dashboard.
    property string selectedModule: ""
    property string lastMessage: "Tu Mac está lista para analizarse."
    // Each module's screen, made anew (with a new scanner) each time it opens.
    readonly property var moduleScreens: ({
        "largeFiles": largeFilesScreen,
        "duplicates": duplicatesScreen,
        "safeCleanup": cleanupScreen,
        "uninstaller": uninstallerScreen,
        "protection": protectionScreen
    })

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
        if (VelmoraModule.isModule(module))
            selectedModule = module;
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
            onOpenModule: module => root.openModule(module)
        }
    }

    Loader {
        anchors.fill: parent
        active: root.selectedModule !== ""
        sourceComponent: ModuleWorkspace {
            objectName: "workspace"
            module: root.selectedModule
            screens: root.moduleScreens
            onBack: root.selectedModule = ""
            onAnalysisCompleted: module => root.analysisCompleted(module)
        }
    }
}
