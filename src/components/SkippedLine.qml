import QtQuick
import QtQuick.Controls.Basic
import Velmora
import Velmora.Core

// The line under a status line: while a scan runs, what it has examined so far;
// after it, how many entries it left out. That count is a disclosure: a click,
// or Return or Space with the focus on it, unfolds the SkippedList bound to
// `expanded`. The line keeps its height while empty, so nothing below it moves
// when it fills.
AbstractButton {
    id: line

    required property ScannerBase scanner
    readonly property bool expanded: checked
    readonly property bool canUnfold: !scanner.isScanning && scanner.skippedItems.length > 0

    objectName: "skippedDisclosure"
    checkable: true
    enabled: canUnfold
    padding: 0
    implicitHeight: Math.max(metrics.height, label.implicitHeight)
    // A new scan folds the list away with the result it described.
    onCanUnfoldChanged: if (!canUnfold)
        checked = false

    Keys.onReturnPressed: toggle()
    Keys.onEnterPressed: toggle()
    Accessible.role: Accessible.Button
    Accessible.name: "Elementos que no se incluyen"
    Accessible.description: label.text

    FontMetrics {
        id: metrics
        font: label.font
    }
    HoverHandler {
        enabled: line.canUnfold
        cursorShape: Qt.PointingHandCursor
    }
    FocusRing {
        shown: line.visualFocus
        controlRadius: 4
    }

    contentItem: Row {
        spacing: 3
        Symbol {
            id: chevron
            visible: line.canUnfold
            anchors.verticalCenter: parent.verticalCenter
            name: "chevron.right"
            size: 12
            color: VelmoraTheme.secondaryText
            rotation: line.expanded ? 90 : 0
        }
        Text {
            id: label
            objectName: "scanDetail"
            width: line.availableWidth - (chevron.visible ? chevron.width + parent.spacing : 0)
            text: line.scanner.isScanning ? line.scanner.progressText : line.scanner.skippedText
            textFormat: Text.PlainText
            color: line.hovered && line.canUnfold ? VelmoraTheme.secondaryText : VelmoraTheme.mutedText
            font.pixelSize: 11
            elide: Text.ElideRight
        }
    }
    background: Item {}
}
