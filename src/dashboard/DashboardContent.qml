pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The scrolling overview: header, status, modules, advice, highlights, activity.
Flickable {
    id: content

    required property DiskStatus disk
    property string lastMessage
    // Both wait for the full analysis; until then they are shown disabled.
    property bool quickAnalysisAvailable: false
    signal openModule(string module)
    signal startQuickAnalysis
    signal openHistory

    readonly property real columnSpacing: 16

    contentWidth: width
    contentHeight: column.implicitHeight + 56
    clip: true
    boundsBehavior: Flickable.StopAtBounds
    ScrollBar.vertical: VelmoraScrollBar { objectName: "scrollBar" }

    ColumnLayout {
        id: column
        x: 28
        y: 24
        width: content.width - 56
        spacing: 14

        RowLayout {
            Layout.fillWidth: true
            spacing: 16
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 4
                Text {
                    text: "Bienvenido a Velmora"
                    color: "white"
                    font.pixelSize: 34
                    font.bold: true
                }
                Text {
                    Layout.fillWidth: true
                    text: "Centro de limpieza inteligente para un Mac más rápido, limpio y seguro."
                    color: VelmoraTheme.secondaryText
                    font.pixelSize: 14
                    wrapMode: Text.WordWrap
                }
            }
            VelmoraButton {
                objectName: "historyButton"
                text: "Historial"
                symbol: "clock.arrow.circlepath"
                Accessible.name: "Historial de eliminaciones"
                onClicked: content.openHistory()
            }
            DashboardGradientButton {
                objectName: "quickAnalysisButton"
                text: "Análisis rápido"
                symbol: "waveform.path.ecg"
                enabled: content.quickAnalysisAvailable
                onClicked: content.startQuickAnalysis()
            }
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: content.columnSpacing
            DashboardStatusCard {
                Layout.fillWidth: true
                Layout.minimumWidth: 10
                Layout.preferredWidth: 1
                title: "Salud del sistema"
                value: "Saludable"
                detail: "Espacio suficiente"
                symbol: "checkmark.circle.fill"
                accent: VelmoraTheme.success
            }
            DashboardStatusCard {
                objectName: "diskStatusCard"
                Layout.fillWidth: true
                Layout.minimumWidth: 10
                Layout.preferredWidth: 1
                title: "Espacio disponible"
                value: content.disk.freeText
                detail: content.disk.totalText + " en total"
                symbol: "externaldrive.fill"
                accent: Qt.rgba(100 / 255, 137 / 255, 255 / 255, 1)
            }
            DashboardStatusCard {
                Layout.fillWidth: true
                Layout.minimumWidth: 10
                Layout.preferredWidth: 1
                title: "Protección"
                value: "Activa"
                detail: "Gatekeeper está habilitado"
                symbol: "shield.lefthalf.filled"
                accent: VelmoraTheme.success
            }
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: content.columnSpacing
            Repeater {
                model: ["largeFiles", "duplicates", "safeCleanup"]
                delegate: DashboardLargeModuleCard {
                    required property string modelData
                    objectName: "card_" + modelData
                    Layout.fillWidth: true
                    Layout.minimumWidth: 10
                    Layout.preferredWidth: 1
                    module: modelData
                    onAction: content.openModule(modelData)
                }
            }
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: content.columnSpacing
            Repeater {
                model: ["uninstaller", "protection"]
                delegate: DashboardWideModuleCard {
                    required property string modelData
                    objectName: "card_" + modelData
                    Layout.fillWidth: true
                    Layout.preferredWidth: 1
                    module: modelData
                    onAction: content.openModule(modelData)
                }
            }
        }

        Card {
            Layout.fillWidth: true
            implicitHeight: 76
            gradient: Gradient {
                orientation: Gradient.Horizontal
                GradientStop { position: 0; color: Qt.rgba(139 / 255, 92 / 255, 246 / 255, 0.16) }
                GradientStop { position: 1; color: Qt.rgba(34 / 255, 211 / 255, 238 / 255, 0.08) }
            }
            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: 20
                anchors.rightMargin: 20
                spacing: 14
                SymbolTile {
                    Layout.preferredWidth: 44
                    Layout.preferredHeight: 44
                    symbol: "shield.lefthalf.filled"
                    accent: VelmoraTheme.violet
                    symbolSize: 22
                }
                ColumnLayout {
                    Layout.fillWidth: true
                    spacing: 3
                    Text {
                        text: "Consejo inteligente"
                        color: "white"
                        font.pixelSize: 15
                        font.bold: true
                    }
                    Text {
                        Layout.fillWidth: true
                        text: "Realiza un análisis completo regularmente para mantener tu Mac siempre en su mejor estado."
                        color: VelmoraTheme.secondaryText
                        font.pixelSize: 12
                        wrapMode: Text.WordWrap
                    }
                }
                VelmoraButton {
                    objectName: "recommendationsButton"
                    text: "Ver recomendaciones"
                    enabled: content.quickAnalysisAvailable
                    onClicked: content.startQuickAnalysis()
                }
            }
        }

        Card {
            Layout.fillWidth: true
            implicitHeight: 66
            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: 18
                anchors.rightMargin: 18
                spacing: 0
                Repeater {
                    model: [
                        { symbol: "shield.fill", title: "Protege tu Mac", subtitle: "contra amenazas", accent: VelmoraTheme.success },
                        { symbol: "bolt.fill", title: "Libera espacio", subtitle: "de almacenamiento", accent: VelmoraTheme.blue },
                        { symbol: "speedometer", title: "Mejora rendimiento", subtitle: "de tu sistema", accent: VelmoraTheme.violet },
                        { symbol: "checkmark.seal.fill", title: "Interfaz moderna", subtitle: "y fácil de usar", accent: VelmoraTheme.warning },
                        { symbol: "lock.shield.fill", title: "Privacidad", subtitle: "y seguridad", accent: VelmoraTheme.success }
                    ]
                    delegate: RowLayout {
                        id: benefit
                        required property var modelData
                        required property int index
                        Layout.fillWidth: true
                        spacing: 0
                        BenefitDivider { visible: benefit.index > 0 }
                        Item { Layout.fillWidth: true }
                        BenefitItem {
                            symbol: benefit.modelData.symbol
                            title: benefit.modelData.title
                            subtitle: benefit.modelData.subtitle
                            accent: benefit.modelData.accent
                        }
                        Item { Layout.fillWidth: true }
                    }
                }
            }
        }

        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 40
            radius: 12
            color: Qt.rgba(34 / 255, 197 / 255, 94 / 255, 0.08)
            border.color: Qt.rgba(34 / 255, 197 / 255, 94 / 255, 0.22)
            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: 14
                anchors.rightMargin: 14
                spacing: 8
                Symbol {
                    name: "checkmark.seal.fill"
                    size: 16
                    color: VelmoraTheme.success
                }
                Text {
                    objectName: "activityBanner"
                    Layout.fillWidth: true
                    text: content.lastMessage
                    color: VelmoraTheme.secondaryText
                    font.pixelSize: 12
                    elide: Text.ElideRight
                    HoverHandler { id: bannerHover }
                    ToolTip.visible: truncated && bannerHover.hovered
                    ToolTip.text: text
                }
            }
        }
    }
}
