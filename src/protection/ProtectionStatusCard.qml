import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// Where the protection stands: the analysis running, or the last status with
// the two quick actions.
Card {
    id: card
    objectName: "statusCard"

    required property ProtectionScanner scanner
    required property ProtectionQuarantineManager manager
    signal selectRecommended
    signal rescan

    implicitHeight: 68
    radius: 16

    RowLayout {
        anchors.fill: parent
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
            Text {
                objectName: "scanDetail"
                Layout.fillWidth: true
                readonly property string detail: card.scanner.isScanning ? card.scanner.progressText
                                                                         : card.scanner.skippedText
                visible: detail !== ""
                text: detail
                textFormat: Text.PlainText
                color: VelmoraTheme.mutedText
                font.pixelSize: 11
                elide: Text.ElideRight
            }
        }
        VelmoraButton {
            objectName: "selectRecommendedButton"
            visible: !card.scanner.isScanning
            kind: "borderless"
            text: "Seleccionar recomendados"
            onClicked: card.selectRecommended()
        }
        VelmoraButton {
            objectName: "rescanButton"
            visible: !card.scanner.isScanning
            kind: "borderless"
            text: "Volver a analizar"
            onClicked: card.rescan()
        }
    }
}
