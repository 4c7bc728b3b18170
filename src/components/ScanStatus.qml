import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The progress indicator and the status line, with a second line under it:
// while a scan runs, what it has examined so far; after it, how many entries
// could not be read, which unfolds to each of them. A scan that can be stopped
// shows "Detener" beside them. What stands beside the lines keeps to the top, so
// that unfolding moves nothing.
RowLayout {
    id: status

    required property ScannerBase scanner
    property bool canStop: false
    property bool showStatus: true

    spacing: 8

    Spinner {
        objectName: "progressIndicator"
        Layout.alignment: Qt.AlignTop
        visible: status.scanner.isScanning || status.scanner.isRemoving
    }
    ColumnLayout {
        Layout.fillWidth: true
        Layout.alignment: Qt.AlignTop
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
        SkippedLine {
            id: skippedLine
            Layout.fillWidth: true
            scanner: status.scanner
        }
        SkippedList {
            Layout.fillWidth: true
            Layout.preferredHeight: implicitHeight
            scanner: status.scanner
            expanded: skippedLine.expanded
        }
    }
    // The last removal can be taken back from here, until another replaces it.
    VelmoraButton {
        objectName: "undoButton"
        Layout.alignment: Qt.AlignTop
        visible: status.scanner.canUndo && !status.scanner.isScanning && !status.scanner.isRemoving
        small: true
        symbol: "arrow.uturn.backward"
        text: "Deshacer"
        Accessible.name: "Deshacer la última eliminación"
        onClicked: status.scanner.undoLastRemoval()
    }
    VelmoraButton {
        objectName: "stopButton"
        Layout.alignment: Qt.AlignTop
        visible: status.canStop && status.scanner.isScanning
        small: true
        symbol: "stop.circle"
        text: "Detener"
        onClicked: status.scanner.stopScan()
    }
}
