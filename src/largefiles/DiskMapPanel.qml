pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// "Mapa": where the space of the chosen folder went, folder by folder. Each
// block's area is its size; a folder shows its own entries inside it. Clicking
// a folder zooms into it, the breadcrumb goes back; a file of the list can be
// selected here as in the list.
ColumnLayout {
    id: panel

    required property StorageScanner scanner
    required property DiskMapScanner mapScanner
    readonly property alias map: map
    // The block the line below the map describes: the one under the mouse, else
    // the one with the keyboard focus.
    readonly property int shownBlock: map.hoveredBlock >= 0 ? map.hoveredBlock : map.focusedBlock
    readonly property var crumbs: mapScanner.breadcrumb

    spacing: 6

    RowLayout {
        objectName: "mapBreadcrumb"
        Layout.fillWidth: true
        visible: panel.crumbs.length > 0
        spacing: 2
        Repeater {
            model: panel.crumbs
            delegate: RowLayout {
                id: crumb
                required property var modelData
                required property int index
                readonly property bool last: index === panel.crumbs.length - 1
                spacing: 2
                Text {
                    visible: crumb.index > 0
                    text: "›"
                    color: VelmoraTheme.secondaryText
                    font.pixelSize: 13
                }
                VelmoraButton {
                    objectName: "crumb_" + crumb.index
                    kind: "borderless"
                    small: true
                    accent: crumb.last ? "white" : VelmoraTheme.blue
                    text: crumb.modelData.name
                    enabled: !crumb.last
                    Accessible.name: "Volver a " + crumb.modelData.name
                    onClicked: panel.mapScanner.zoomTo(crumb.index)
                }
            }
        }
        Item { Layout.fillWidth: true }
        VelmoraButton {
            objectName: "remeasureButton"
            visible: panel.mapScanner.isPartial && !panel.mapScanner.isScanning
            kind: "borderless"
            small: true
            symbol: "arrow.clockwise"
            text: "Volver a medir"
            onClicked: panel.mapScanner.scan(panel.scanner.selectedFolder)
        }
        Badge {
            objectName: "partialBadge"
            visible: panel.mapScanner.isPartial
            text: "Mapa parcial"
            tint: VelmoraTheme.warning
        }
    }

    ScanStatus {
        objectName: "mapStatus"
        Layout.fillWidth: true
        scanner: panel.mapScanner
        canStop: true
    }

    EmptyState {
        objectName: "mapEmptyState"
        visible: panel.crumbs.length === 0
        Layout.fillWidth: true
        Layout.fillHeight: true
        scanner: panel.mapScanner
        symbol: "square.grid.2x2"
        title: "Aún no hay mapa"
        message: "Selecciona una carpeta para ver su mapa."
    }

    DiskMapView {
        id: map
        objectName: "diskMap"
        visible: panel.crumbs.length > 0
        Layout.fillWidth: true
        Layout.fillHeight: true
        scanner: panel.mapScanner
        files: panel.scanner.files
        colors: ({
            folder: VelmoraTheme.blue, package: VelmoraTheme.violet,
            selection: VelmoraTheme.success, focus: VelmoraTheme.cyan
        })
        activeFocusOnTab: true
        Accessible.role: Accessible.List
        Accessible.name: map.revision, map.focusedBlock >= 0 ? map.blockName(map.focusedBlock)
            : "Mapa de " + (panel.crumbs.length > 0 ? panel.crumbs[panel.crumbs.length - 1].name : "")
        Accessible.description: "Usa las flechas para moverte entre los bloques, Intro para abrir una "
                                + "carpeta o seleccionar un archivo y Retroceso para volver."
        Keys.onLeftPressed: map.moveFocus(-1, 0)
        Keys.onRightPressed: map.moveFocus(1, 0)
        Keys.onUpPressed: map.moveFocus(0, -1)
        Keys.onDownPressed: map.moveFocus(0, 1)
        Keys.onReturnPressed: map.activate(map.focusedBlock)
        Keys.onEnterPressed: map.activate(map.focusedBlock)
        Keys.onSpacePressed: map.activate(map.focusedBlock)
        Keys.onPressed: event => {
            if (event.key === Qt.Key_Backspace) {
                panel.mapScanner.zoomOut();
                event.accepted = true;
            }
        }
        onActiveFocusChanged: if (activeFocus && focusedBlock < 0) moveFocus(0, 0)
        onToggleRequested: id => panel.scanner.toggleSelection(id)

        MouseArea {
            objectName: "mapMouse"
            anchors.fill: parent
            hoverEnabled: true
            onPositionChanged: mouse => map.hoveredBlock = map.blockAt(mouse.x, mouse.y)
            onExited: map.hoveredBlock = -1
            onClicked: mouse => map.activate(map.blockAt(mouse.x, mouse.y))
        }
        FocusRing {
            shown: map.activeFocus
            controlRadius: 4
        }
    }

    Text {
        objectName: "mapInfo"
        Layout.fillWidth: true
        visible: map.visible
        text: map.revision, panel.shownBlock >= 0
              ? map.blockPath(panel.shownBlock) + " · " + Formatters.formatBytes(map.blockSize(panel.shownBlock))
                + " · " + map.blockFiles(panel.shownBlock) + " archivo(s)"
              : panel.mapScanner.currentPath + " · " + Formatters.formatBytes(panel.mapScanner.currentSize)
                + " · " + panel.mapScanner.currentFiles + " archivo(s)"
        textFormat: Text.PlainText
        color: VelmoraTheme.secondaryText
        font.pixelSize: 12
        elide: Text.ElideMiddle
    }
}
