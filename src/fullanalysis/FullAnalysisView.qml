pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Templates as T
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The full analysis sheet: the run's progress, then each module's figures with
// the way into the module, already showing this run's results.
Popup {
    id: sheet

    required property FullAnalysisCoordinator coordinator
    readonly property bool running: coordinator.isRunning
    // Asked 0.2 s after the sheet closed: open this module (and, for
    // protection, this filter's case number).
    signal openModuleRequested(string module, int filter)

    property string pendingModule
    property int pendingFilter: 0

    // Closes the sheet, then opens the module; nothing while a run goes on.
    function openModule(module, filter) {
        if (coordinator.isRunning)
            return;
        pendingModule = module;
        pendingFilter = filter;
        close();
        openLater.restart();
    }

    modal: true
    focus: true
    anchors.centerIn: T.Overlay.overlay
    width: parent ? Math.min(parent.width, 1050) : 1050
    height: parent ? Math.min(parent.height, 720) : 720
    padding: 24
    // While it runs, the sheet stays: the bottom bar asks not to close it.
    closePolicy: running ? Popup.NoAutoClose : Popup.CloseOnEscape
    onOpened: {
        if (coordinator.completedSteps === 0 && !coordinator.isRunning)
            coordinator.start();
    }

    T.Overlay.modal: Rectangle { color: Qt.rgba(0, 0, 0, 0.55) }

    background: Rectangle {
        objectName: "fullAnalysisPanel"
        radius: 18
        color: "#0A1521"
        border.color: Qt.rgba(1, 1, 1, 0.14)
    }

    Timer {
        id: openLater
        interval: 200
        onTriggered: sheet.openModuleRequested(sheet.pendingModule, sheet.pendingFilter)
    }

    contentItem: ColumnLayout {
        spacing: 14

        // Header.
        RowLayout {
            Layout.fillWidth: true
            spacing: 14
            Rectangle {
                Layout.preferredWidth: 52
                Layout.preferredHeight: 52
                radius: 26
                gradient: Gradient {
                    orientation: Gradient.Horizontal
                    GradientStop { position: 0; color: VelmoraTheme.accentGradientStart }
                    GradientStop { position: 1; color: VelmoraTheme.accentGradientEnd }
                }
                Symbol {
                    anchors.centerIn: parent
                    name: "bolt.shield.fill"
                    size: 28
                    color: "white"
                }
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2
                Text {
                    objectName: "fullAnalysisTitle"
                    Layout.fillWidth: true
                    text: "Análisis completo"
                    color: "white"
                    font.pixelSize: 24
                    font.bold: true
                }
                Text {
                    Layout.fillWidth: true
                    text: "Revisión integral de almacenamiento, duplicados, cachés, aplicaciones y protección."
                    color: VelmoraTheme.secondaryText
                    font.pixelSize: 13
                    elide: Text.ElideRight
                }
            }
        }

        // Progress.
        Card {
            objectName: "progressCard"
            Layout.fillWidth: true
            implicitHeight: 78
            radius: 16
            ColumnLayout {
                anchors.fill: parent
                anchors.margins: 16
                spacing: 10
                RowLayout {
                    Layout.fillWidth: true
                    spacing: 10
                    Item {
                        Layout.preferredWidth: 20
                        Layout.preferredHeight: 20
                        Spinner {
                            objectName: "progressIndicator"
                            anchors.centerIn: parent
                            visible: sheet.running
                        }
                        Symbol {
                            objectName: "doneSymbol"
                            anchors.centerIn: parent
                            visible: !sheet.running
                            name: "checkmark.circle.fill"
                            size: 20
                            color: VelmoraTheme.success
                        }
                    }
                    Text {
                        objectName: "currentStep"
                        Layout.fillWidth: true
                        text: sheet.coordinator.currentStep
                        color: "white"
                        font.pixelSize: 15
                        font.bold: true
                        elide: Text.ElideRight
                    }
                    Text {
                        objectName: "stepCount"
                        text: sheet.coordinator.completedSteps + " de 5"
                        color: VelmoraTheme.secondaryText
                        font.pixelSize: 13
                    }
                }
                Rectangle {
                    objectName: "progressBar"
                    Layout.fillWidth: true
                    implicitHeight: 6
                    radius: 3
                    color: Qt.rgba(1, 1, 1, 0.10)
                    Rectangle {
                        objectName: "progressFill"
                        width: parent.width * Math.max(0, Math.min(1, sheet.coordinator.progress))
                        height: parent.height
                        radius: 3
                        gradient: Gradient {
                            orientation: Gradient.Horizontal
                            GradientStop { position: 0; color: VelmoraTheme.accentGradientStart }
                            GradientStop { position: 1; color: VelmoraTheme.accentGradientEnd }
                        }
                    }
                }
            }
        }

        // One card per module.
        RowLayout {
            Layout.fillWidth: true
            spacing: 12
            FullAnalysisResultCard {
                objectName: "resultLargeFiles"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Archivos grandes"
                value: String(sheet.coordinator.largeFilesCount)
                detail: Formatters.formatBytes(sheet.coordinator.largeFilesSize)
                symbol: "externaldrive.fill"
                accent: VelmoraTheme.blue
                reviewEnabled: !sheet.running
                onReview: sheet.openModule("largeFiles", 0)
            }
            FullAnalysisResultCard {
                objectName: "resultDuplicates"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Duplicados"
                value: sheet.coordinator.duplicateGroupsCount + " grupos"
                detail: Formatters.formatBytes(sheet.coordinator.recoverableDuplicateSize)
                        + " recuperables"
                symbol: "square.on.square"
                accent: VelmoraTheme.violet
                reviewEnabled: !sheet.running
                onReview: sheet.openModule("duplicates", 0)
            }
            FullAnalysisResultCard {
                objectName: "resultCleanup"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Limpieza segura"
                value: sheet.coordinator.cleanupItemsCount + " cachés"
                detail: Formatters.formatBytes(sheet.coordinator.cleanupSize)
                symbol: "sparkles"
                accent: VelmoraTheme.cyan
                reviewEnabled: !sheet.running
                onReview: sheet.openModule("safeCleanup", 0)
            }
            FullAnalysisResultCard {
                objectName: "resultApplications"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Aplicaciones"
                value: String(sheet.coordinator.applicationsCount)
                detail: "Aplicaciones revisadas"
                symbol: "app.fill"
                accent: "#FF9F0A"
                reviewEnabled: !sheet.running
                onReview: sheet.openModule("uninstaller", 0)
            }
        }

        // Protection, with a cell per level.
        Card {
            objectName: "resultProtection"
            Layout.fillWidth: true
            implicitHeight: protectionColumn.implicitHeight + 32
            radius: 16
            ColumnLayout {
                id: protectionColumn
                anchors.fill: parent
                anchors.margins: 16
                spacing: 12
                RowLayout {
                    Layout.fillWidth: true
                    spacing: 10
                    Symbol {
                        name: "shield.checkered"
                        size: 22
                        color: VelmoraTheme.success
                    }
                    Text {
                        Layout.fillWidth: true
                        text: "Protección"
                        color: "white"
                        font.pixelSize: 15
                        font.bold: true
                    }
                    VelmoraButton {
                        objectName: "reviewAllButton"
                        small: true
                        symbol: "arrow.right.circle.fill"
                        text: "Revisar todos"
                        enabled: !sheet.running
                        onClicked: sheet.openModule("protection", 0)
                    }
                }
                RowLayout {
                    Layout.fillWidth: true
                    spacing: 12
                    // A fixed model: the cells stay while the counts change.
                    Repeater {
                        model: [
                            { name: "cellDangerous", title: "Peligrosos", filter: 1, colour: "danger" },
                            { name: "cellSuspicious", title: "Sospechosos", filter: 2, colour: "warning" },
                            { name: "cellReview", title: "Por revisar", filter: 3, colour: "violet" },
                            { name: "cellSafe", title: "Seguros", filter: 4, colour: "success" }
                        ]
                        delegate: Rectangle {
                            id: cell
                            required property var modelData
                            required property int index
                            readonly property color tint: VelmoraTheme[modelData.colour]
                            readonly property int count: [sheet.coordinator.dangerousCount,
                                                          sheet.coordinator.suspiciousCount,
                                                          sheet.coordinator.reviewCount,
                                                          sheet.coordinator.safeCount][index]
                            objectName: modelData.name
                            Layout.fillWidth: true
                            Layout.preferredWidth: 1
                            implicitHeight: 68
                            radius: 12
                            color: Qt.rgba(cell.tint.r, cell.tint.g, cell.tint.b, 0.08)
                            border.color: Qt.rgba(cell.tint.r, cell.tint.g, cell.tint.b, 0.25)
                            RowLayout {
                                anchors.fill: parent
                                anchors.margins: 12
                                spacing: 8
                                ColumnLayout {
                                    Layout.fillWidth: true
                                    spacing: 0
                                    Text {
                                        objectName: "cellCount"
                                        text: String(cell.count)
                                        color: cell.tint
                                        font.pixelSize: 24
                                        font.bold: true
                                    }
                                    Text {
                                        text: cell.modelData.title
                                        color: "white"
                                        font.pixelSize: 13
                                    }
                                }
                                VelmoraButton {
                                    objectName: "reviewButton"
                                    small: true
                                    text: "Revisar"
                                    accent: cell.tint
                                    enabled: !sheet.running
                                    onClicked: sheet.openModule("protection", cell.modelData.filter)
                                }
                            }
                        }
                    }
                }
            }
        }

        Item { Layout.fillHeight: true }

        // Bottom bar, as high while running as after, so nothing above moves
        // when its buttons appear.
        RowLayout {
            Layout.fillWidth: true
            Layout.preferredHeight: 34
            spacing: 10
            Text {
                objectName: "bottomText"
                Layout.fillWidth: true
                text: sheet.running ? "No cierres esta ventana mientras se completa el análisis."
                                    : "Análisis terminado. Revisa cada módulo antes de eliminar archivos."
                color: VelmoraTheme.secondaryText
                font.pixelSize: 12
                elide: Text.ElideRight
            }
            VelmoraButton {
                objectName: "analyzeAgainButton"
                visible: !sheet.running
                text: "Analizar nuevamente"
                symbol: "arrow.clockwise"
                onClicked: sheet.coordinator.start()
            }
            VelmoraButton {
                objectName: "closeFullAnalysisButton"
                visible: !sheet.running
                kind: "prominent"
                text: "Cerrar"
                onClicked: sheet.close()
            }
        }
    }

    ErrorAlert {
        objectName: "fullAnalysisAlert"
        errorMessage: sheet.coordinator.errorMessage
        onDismissed: sheet.coordinator.clearError()
    }
}
