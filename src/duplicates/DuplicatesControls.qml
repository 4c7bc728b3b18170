import QtQuick
import QtQuick.Layouts
import Velmora

// The minimum size (1 to 1000 MB; the scanner never goes below 10), the status
// line, "Seleccionar copias" and "Volver a analizar".
Card {
    id: controls

    required property Item view
    readonly property var scanner: view.scanner

    implicitHeight: column.implicitHeight + 28
    radius: 16

    ColumnLayout {
        id: column
        anchors.fill: parent
        anchors.margins: 14
        anchors.leftMargin: 18
        anchors.rightMargin: 18
        spacing: 6

        RowLayout {
            Layout.fillWidth: true
            Text {
                Layout.fillWidth: true
                text: "Tamaño mínimo"
                color: "white"
                font.pixelSize: 13
                font.weight: Font.DemiBold
            }
            Text {
                objectName: "minimumLabel"
                text: controls.view.minimumMB + " MB"
                color: VelmoraTheme.violet
                font.pixelSize: 13
                font.bold: true
            }
        }
        VelmoraSlider {
            objectName: "minimumSlider"
            Layout.fillWidth: true
            from: 1
            to: 1000
            stepSize: 1
            value: controls.view.minimumSizeMB
            onMoved: controls.view.minimumSizeMB = value
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: 8
            Spinner {
                objectName: "progressIndicator"
                visible: controls.view.busy
            }
            Text {
                objectName: "statusLine"
                Layout.fillWidth: true
                text: controls.scanner ? controls.scanner.statusText : ""
                textFormat: Text.PlainText
                color: VelmoraTheme.secondaryText
                font.pixelSize: 13
                elide: Text.ElideRight
            }
            VelmoraButton {
                objectName: "selectCopiesButton"
                visible: controls.scanner !== null && controls.scanner.groupCount > 0
                small: true
                symbol: "wand.and.stars"
                text: "Seleccionar copias"
                onClicked: controls.scanner.selectRecommendedCopies()
            }
            VelmoraButton {
                objectName: "rescanButton"
                visible: controls.scanner !== null && controls.scanner.selectedFolder !== ""
                small: true
                symbol: "arrow.clockwise"
                text: "Volver a analizar"
                enabled: !controls.view.busy
                onClicked: controls.scanner.scan(controls.scanner.selectedFolder, controls.view.minimumMB)
            }
        }
    }
}
