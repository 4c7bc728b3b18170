import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The progress indicator and the status line, with a second line under it:
// while a scan runs, what it has examined so far; after it, how many entries
// could not be read. A scan that can be stopped shows "Detener" beside them.
RowLayout {
    id: status

    required property ScannerBase scanner
    property bool canStop: false
    property bool showStatus: true

    spacing: 8

    Spinner {
        objectName: "progressIndicator"
        visible: status.scanner.isScanning || status.scanner.isRemoving
    }
    ColumnLayout {
        Layout.fillWidth: true
        spacing: 1
        Text {
            objectName: "statusLine"
            Layout.fillWidth: true
            visible: status.showStatus
            text: status.scanner.statusText
            textFormat: Text.PlainText
            color: VelmoraTheme.secondaryText
            font.pixelSize: 13
            elide: Text.ElideRight
        }
        Text {
            objectName: "scanDetail"
            Layout.fillWidth: true
            readonly property string detail: status.scanner.isScanning ? status.scanner.progressText
                                                                       : status.scanner.skippedText
            visible: detail !== ""
            text: detail
            textFormat: Text.PlainText
            color: VelmoraTheme.mutedText
            font.pixelSize: 11
            elide: Text.ElideRight
        }
    }
    VelmoraButton {
        objectName: "stopButton"
        visible: status.canStop && status.scanner.isScanning
        small: true
        symbol: "stop.circle"
        text: "Detener"
        onClicked: status.scanner.stopScan()
    }
}
