import QtQuick
import Velmora
import Velmora.Core

// What a results card shows while it has nothing to list. Given the card's
// scanner, it says so while a scan runs, with the scan's own status, instead of
// asking to start one.
Item {
    id: empty

    property string symbol: "magnifyingglass"
    property string title
    property string message
    property ScannerBase scanner: null
    readonly property bool scanning: scanner !== null && scanner.isScanning

    Column {
        anchors.centerIn: parent
        width: Math.min(parent.width - 32, 420)
        spacing: 8
        Symbol {
            anchors.horizontalCenter: parent.horizontalCenter
            visible: !empty.scanning
            name: empty.symbol
            size: 34
            color: VelmoraTheme.secondaryText
        }
        Spinner {
            anchors.horizontalCenter: parent.horizontalCenter
            visible: empty.scanning
        }
        Text {
            objectName: "emptyTitle"
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            text: empty.scanning ? "Analizando…" : empty.title
            color: "white"
            font.pixelSize: 15
            font.bold: true
        }
        Text {
            objectName: "emptyMessage"
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            text: empty.scanning ? empty.scanner.statusText : empty.message
            color: VelmoraTheme.secondaryText
            font.pixelSize: 12
        }
    }
}
