import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The automatic caches folder with the scan's progress, or "AUTOMÁTICA" and
// "Volver a analizar" once it is done. The path gives way first; the whole of
// it shows in a tooltip.
RowLayout {
    id: line

    required property CleanupScanner scanner
    readonly property bool busy: scanner.isScanning || scanner.isRemoving
    property int pathPixelSize: 12

    spacing: 12

    Text {
        objectName: "cachesPath"
        Layout.fillWidth: true
        text: line.scanner.cachesURL !== "" ? line.scanner.cachesURL
                                            : AppPaths.homeFolder + "/Library/Caches"
        color: VelmoraTheme.secondaryText
        font.pixelSize: line.pathPixelSize
        elide: Text.ElideMiddle
        textFormat: Text.PlainText
        HoverHandler { id: pathHover }
        ToolTip.visible: truncated && pathHover.hovered
        ToolTip.text: text
    }
    Spinner {
        objectName: "progressIndicator"
        visible: line.busy
    }
    Text {
        visible: !line.busy
        text: "AUTOMÁTICA"
        color: VelmoraTheme.success
        font.pixelSize: 11
        font.bold: true
    }
    VelmoraButton {
        objectName: "rescanButton"
        visible: !line.busy
        small: true
        symbol: "arrow.clockwise"
        text: "Volver a analizar"
        onClicked: line.scanner.scan()
    }
}
