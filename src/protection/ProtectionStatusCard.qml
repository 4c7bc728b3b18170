import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// Where the protection stands: the analysis running, or the last status with
// the two quick actions. What the analysis left out unfolds below, the card
// growing downwards.
Card {
    id: card
    objectName: "statusCard"

    required property ProtectionScanner scanner
    required property ProtectionQuarantineManager manager
    // Folded, the title and the status share one line.
    property bool folded: false
    readonly property int lineHeight: folded ? 48 : 68
    signal rescan

    implicitHeight: lineHeight + (skippedList.visible ? skippedList.height + 12 : 0)
    radius: 16

    RowLayout {
        id: row
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        height: card.lineHeight
        anchors.leftMargin: 18
        anchors.rightMargin: 14
        spacing: 12
        Item {
            Layout.preferredWidth: 26
            Layout.preferredHeight: 26
            Spinner {
                objectName: "progressIndicator"
                anchors.centerIn: parent
                visible: card.scanner.isScanning
            }
            Symbol {
                anchors.centerIn: parent
                visible: !card.scanner.isScanning
                name: "magnifyingglass.circle.fill"
                size: 26
                color: VelmoraTheme.success
            }
        }
        ColumnLayout {
            id: lines
            Layout.fillWidth: true
            spacing: 2
            Text {
                objectName: "statusTitle"
                text: card.scanner.isScanning ? "Análisis en proceso" : "Estado de protección"
                color: "white"
                font.pixelSize: 14
                font.bold: true
            }
            Text {
                objectName: "statusLine"
                Layout.fillWidth: true
                text: card.manager.isWorking ? card.manager.statusText : card.scanner.statusText
                textFormat: Text.PlainText
                color: VelmoraTheme.secondaryText
                font.pixelSize: 12
                elide: Text.ElideRight
            }
            SkippedLine {
                id: skippedLine
                Layout.fillWidth: true
                scanner: card.scanner
            }
        }
        VelmoraButton {
            objectName: "undoButton"
            visible: card.manager.canUndo && !card.manager.isWorking
            small: true
            symbol: "arrow.uturn.backward"
            text: "Deshacer"
            Accessible.name: "Deshacer la última cuarentena"
            onClicked: card.manager.undoLastRemoval()
        }
        VelmoraButton {
            objectName: "selectRecommendedButton"
            visible: !card.scanner.isScanning
            kind: "borderless"
            text: "Seleccionar recomendados"
            onClicked: card.scanner.selectRecommendedFindings()
        }
        VelmoraButton {
            objectName: "rescanButton"
            visible: !card.scanner.isScanning
            kind: "borderless"
            text: "Volver a analizar"
            onClicked: card.rescan()
        }
    }
    SkippedList {
        id: skippedList
        anchors.top: row.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.leftMargin: 18 + lines.x
        anchors.rightMargin: 14
        height: implicitHeight
        scanner: card.scanner
        expanded: skippedLine.expanded
    }
}
