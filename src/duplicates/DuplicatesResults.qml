import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmora
import Velmora.Core

// One section per group of identical files, or the empty state.
Card {
    id: results

    required property DuplicateScanner scanner
    readonly property bool hasGroups: scanner.groupCount > 0

    radius: 16

    EmptyState {
        objectName: "emptyState"
        anchors.fill: parent
        visible: !results.hasGroups
        symbol: "square.on.square"
        scanner: results.scanner
        title: "Aún no hay duplicados"
        message: "Selecciona una carpeta para comenzar."
    }

    ListView {
        id: list
        objectName: "groupList"
        anchors.fill: parent
        anchors.margins: 8
        visible: results.hasGroups
        clip: true
        model: results.scanner.files
        reuseItems: true
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: VelmoraScrollBar { objectName: "scrollBar" }
        section.property: "groupHash"
        // Qt 6.4 hands the section to its delegate as a context value, which a
        // bound component does not accept: this file is not Bound.
        section.delegate: Item {
            id: sectionHeader
            required property string section
            width: list.width
            height: 30
            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: 8
                anchors.rightMargin: 24
                Text {
                    objectName: "sectionCount"
                    Layout.fillWidth: true
                    text: results.scanner.groupFileCount(sectionHeader.section) + " archivos idénticos"
                    color: "white"
                    font.pixelSize: 13
                    font.bold: true
                }
                Text {
                    objectName: "sectionRecoverable"
                    text: Formatters.formatBytes(results.scanner.groupRecoverableBytes(sectionHeader.section))
                          + " recuperables"
                    color: VelmoraTheme.cyan
                    font.pixelSize: 12
                    font.weight: Font.DemiBold
                }
            }
        }
        delegate: DuplicateRow {
            width: list.width
            onToggled: results.scanner.toggleSelection(itemId)
        }
    }
}
