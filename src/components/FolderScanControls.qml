import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The minimum size, the progress and status, "Detener", any buttons of the
// module's own, and "Volver a analizar" for the folder scanned last.
Card {
    id: controls

    required property FolderScanner scanner
    property real minimumSizeMB
    property int from
    property int to
    property int stepSize
    property color accent: VelmoraTheme.cyan
    // Buttons of the module's own, before "Volver a analizar".
    default property alias buttons: status.data
    readonly property int minimumMB: Math.trunc(minimumSizeMB)

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
                text: controls.minimumMB + " MB"
                color: controls.accent
                font.pixelSize: 13
                font.bold: true
            }
        }
        VelmoraSlider {
            objectName: "minimumSlider"
            Layout.fillWidth: true
            from: controls.from
            to: controls.to
            stepSize: controls.stepSize
            value: controls.minimumSizeMB
            onMoved: controls.minimumSizeMB = value
        }
        ScanStatus {
            id: status
            Layout.fillWidth: true
            scanner: controls.scanner
            canStop: true
        }
    }
    VelmoraButton {
        objectName: "rescanButton"
        parent: status
        Layout.alignment: Qt.AlignTop
        visible: controls.scanner.selectedFolder !== ""
        small: true
        symbol: "arrow.clockwise"
        text: "Volver a analizar"
        enabled: !controls.scanner.isScanning && !controls.scanner.isRemoving
        onClicked: controls.scanner.scan(controls.scanner.selectedFolder, controls.minimumMB)
    }
}
