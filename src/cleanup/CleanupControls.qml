import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The automatic path with its progress or "Volver a analizar", and the smart
// selection: mode, switch and "Seleccionar ahora".
ColumnLayout {
    id: controls

    required property CleanupScanner scanner
    required property CleanupAutomationSettings automation
    readonly property bool busy: scanner.isScanning || scanner.isRemoving

    spacing: 12

    Card {
        Layout.fillWidth: true
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
                Text {
                    objectName: "cachesPath"
                    Layout.fillWidth: true
                    text: controls.scanner.cachesURL !== ""
                          ? controls.scanner.cachesURL : AppPaths.homeFolder + "/Library/Caches"
                    color: VelmoraTheme.secondaryText
                    font.pixelSize: 12
                    elide: Text.ElideMiddle
                    textFormat: Text.PlainText
                }
            }
            Spinner {
                objectName: "progressIndicator"
                visible: controls.busy
            }
            Text {
                visible: !controls.busy
                text: "AUTOMÁTICA"
                color: VelmoraTheme.success
                font.pixelSize: 11
                font.bold: true
            }
            VelmoraButton {
                objectName: "rescanButton"
                visible: !controls.busy
                small: true
                symbol: "arrow.clockwise"
                text: "Volver a analizar"
                onClicked: controls.scanner.scan()
            }
        }
    }

    Card {
        Layout.fillWidth: true
        implicitHeight: 86
        radius: 16
        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: 16
            anchors.rightMargin: 14
            spacing: 14
            SymbolTile {
                Layout.preferredWidth: 38
                Layout.preferredHeight: 38
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
                    maximumLineCount: 2
                    elide: Text.ElideRight
                }
            }
            ColumnLayout {
                spacing: 6
                RowLayout {
                    spacing: 8
                    Text {
                        text: "Modo"
                        color: VelmoraTheme.secondaryText
                        font.pixelSize: 12
                    }
                    SegmentedPicker {
                        objectName: "modePicker"
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
