pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The frame every module screen shares: its background, the screen's own
// regions from top to bottom, the selection bar, the confirmation before the
// removal and the alert for the scanner's errors. A finished scan is told to
// the opener; the scanner has made its selection by then.
Item {
    id: screen

    // The screen's scanner; each screen also holds it under its own type.
    required property ScannerBase screenScanner
    // The screen's regions, between the top and the selection bar.
    default property alias regions: regionColumn.data
    property alias spacing: regionColumn.spacing
    property alias backgroundEnd: background.endColor
    readonly property bool busy: screenScanner.isScanning || screenScanner.isRemoving
    // Once a scan has started, the header and the figures fold into a compact
    // strip so the results get the room; a scan is what folds them, so nothing
    // moves when its results arrive.
    property bool folded: screenScanner.isScanning || screenScanner.completedScanCount > 0

    property alias selectionHeadline: bar.headline
    property alias selectionCaption: bar.caption
    property alias cancelText: bar.cancelText
    property alias actionText: bar.actionText
    property alias actionAccent: bar.actionAccent
    property alias actionSymbol: bar.actionSymbol
    property alias selectionSymbol: bar.symbol
    // Something else holding the action back (another task still running).
    property bool actionBlocked: false
    // The file of a bar shown in place of the selection bar while nothing is
    // selected, when set.
    property url idleBar
    property alias confirmation: confirm
    // The alert's message: the scanner's, unless a screen shows more sources.
    property string alertMessage: screenScanner.errorMessage
    signal alertDismissed

    signal analysisCompleted

    Connections {
        target: screen.screenScanner
        function onCompletedScanCountChanged() {
            if (screen.screenScanner.completedScanCount > 0)
                screen.analysisCompleted();
        }
    }

    ScreenBackground {
        id: background
        anchors.fill: parent
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: screen.folded ? 16 : 28
        spacing: regionColumn.spacing

        ColumnLayout {
            id: regionColumn
            Layout.fillWidth: true
            Layout.fillHeight: true
            spacing: screen.folded ? 10 : 14
        }

        SelectionBar {
            id: bar
            objectName: "selectionBar"
            Layout.fillWidth: true
            visible: !idle.active
            detail: Formatters.formatBytes(screen.screenScanner.selectedSize)
            cancelEnabled: screen.screenScanner.hasSelection && !screen.screenScanner.isRemoving
            actionsEnabled: cancelEnabled && !screen.actionBlocked
            onCancelSelection: screen.screenScanner.clearSelection()
            onAction: confirm.open()
        }
        Loader {
            id: idle
            objectName: "idleBar"
            Layout.fillWidth: true
            active: screen.idleBar.toString() !== "" && !screen.screenScanner.hasSelection
            visible: active
            source: screen.idleBar
        }
    }

    ConfirmDialog {
        id: confirm
        objectName: "trashConfirmation"
        confirmText: "Mover a la Papelera"
    }

    ErrorAlert {
        objectName: "errorAlert"
        errorMessage: screen.alertMessage
        onDismissed: {
            screen.screenScanner.clearError();
            screen.alertDismissed();
        }
    }
}
