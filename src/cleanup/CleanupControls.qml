import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The automatic path with its progress or "Volver a analizar", and the smart
// selection: mode, switch and "Seleccionar ahora".
ColumnLayout {
    id: controls

    required property CleanupScanner scanner
    required property CleanupAutomationSettings automation
    // Folded, each card is one line and the description shows whole in a tooltip.
    property bool folded: false

    spacing: folded ? 10 : 12

    // Folded, the screen's header carries the path line instead.
    Card {
        Layout.fillWidth: true
        visible: !controls.folded
        implicitHeight: 58
        radius: 16
        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: 16
            anchors.rightMargin: 14
            spacing: 12
            Symbol { name: "externaldrive.badge.checkmark"; size: 22; color: VelmoraTheme.success }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 1
                Text {
                    text: "Ruta automática de cachés"
                    color: "white"
                    font.pixelSize: 13
                    font.bold: true
                }
                CachesPathLine {
                    Layout.fillWidth: true
                    scanner: controls.scanner
                }
            }
        }
    }

    Card {
        Layout.fillWidth: true
        implicitHeight: controls.folded ? 52 : 86
        radius: 16
        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: 16
            anchors.rightMargin: 14
            spacing: 14
            SymbolTile {
                Layout.preferredWidth: controls.folded ? 30 : 38
                Layout.preferredHeight: controls.folded ? 30 : 38
                symbol: "wand.and.stars"
                accent: VelmoraTheme.cyan
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2
                Text {
                    text: "Selección inteligente"
                    color: "white"
                    font.pixelSize: 14
                    font.bold: true
                }
                Text {
                    objectName: "modeDescription"
                    Layout.fillWidth: true
                    text: controls.automation.modeDescription
                    color: VelmoraTheme.secondaryText
                    font.pixelSize: 11
                    wrapMode: Text.WordWrap
                    maximumLineCount: controls.folded ? 1 : 2
                    elide: Text.ElideRight
                    HoverHandler { id: descriptionHover }
                    ToolTip.visible: truncated && descriptionHover.hovered
                    ToolTip.text: text
                }
            }
            GridLayout {
                columns: controls.folded ? 2 : 1
                columnSpacing: 14
                rowSpacing: 6
                RowLayout {
                    spacing: 8
                    Text {
                        text: "Modo"
                        color: VelmoraTheme.secondaryText
                        font.pixelSize: 12
                    }
                    SegmentedPicker {
                        objectName: "modePicker"
                        accessibleName: "Modo"
                        Layout.preferredWidth: 310
                        options: controls.automation.modes
                        current: controls.automation.mode
                        onPicked: option => controls.automation.mode = option
                    }
                }
                RowLayout {
                    Layout.alignment: Qt.AlignRight
                    spacing: 12
                    VelmoraSwitch {
                        objectName: "autoSwitch"
                        text: "Automática"
                        checked: controls.automation.autoSelectAfterScan
                        onToggled: controls.automation.autoSelectAfterScan = !checked
                    }
                    VelmoraButton {
                        objectName: "selectNowButton"
                        small: true
                        kind: "prominent"
                        accent: VelmoraTheme.violet
                        text: "Seleccionar ahora"
                        enabled: controls.scanner.itemCount > 0 && !controls.scanner.isScanning
                        onClicked: controls.scanner.selectRecommended(controls.automation.mode)
                    }
                }
            }
        }
    }
}
