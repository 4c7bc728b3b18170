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
    property bool folded: false

    implicitHeight: column.implicitHeight + 2 * column.anchors.margins
    radius: 16

    // Folded, the label, the slider and the value share one line.
    GridLayout {
        id: column
        anchors.fill: parent
        anchors.margins: controls.folded ? 8 : 14
        anchors.leftMargin: 18
        anchors.rightMargin: 18
        columns: controls.folded ? 3 : 2
        columnSpacing: 14
        rowSpacing: controls.folded ? 2 : 6

        Text {
            Layout.fillWidth: !controls.folded
            text: "Tamaño mínimo"
            color: "white"
            font.pixelSize: 13
            font.weight: Font.DemiBold
        }
        VelmoraSlider {
            objectName: "minimumSlider"
            Accessible.name: "Tamaño mínimo"
            Layout.fillWidth: true
            Layout.row: controls.folded ? 0 : 1
            Layout.column: controls.folded ? 1 : 0
            Layout.columnSpan: controls.folded ? 1 : 2
            from: controls.from
            to: controls.to
            stepSize: controls.stepSize
            value: controls.minimumSizeMB
            onMoved: controls.minimumSizeMB = value
        }
        Text {
            objectName: "minimumLabel"
            Layout.row: 0
            Layout.column: controls.folded ? 2 : 1
            Layout.alignment: Qt.AlignRight
            text: controls.minimumMB + " MB"
            color: controls.accent
            font.pixelSize: 13
            font.bold: true
        }
        ScanStatus {
            id: status
            Layout.fillWidth: true
            Layout.row: 2
            Layout.column: 0
            Layout.columnSpan: controls.folded ? 3 : 2
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
