pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmora
import Velmora.Core

// "Resultados" with the level filter, then the findings it lets through, or the
// empty state while nothing has been found.
Card {
    id: results
    objectName: "protectionResults"

    required property ProtectionScanner scanner
    required property ProtectionFindingFilter findings
    required property list<string> filterTitles
    property int filter: 0
    signal filterPicked(int index)
    readonly property bool hasFindings: scanner.findingCount > 0
    // Rows whose reasons are unfolded, by finding identifier.
    property var expanded: ({})

    radius: 16

    function toggleExpanded(id) {
        const next = Object.assign({}, expanded);
        if (next[id])
            delete next[id];
        else
            next[id] = true;
        expanded = next;
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 14
        spacing: 8

        RowLayout {
            Layout.fillWidth: true
            Layout.leftMargin: 6
            spacing: 10
            Text {
                text: "Resultados"
                color: "white"
                font.pixelSize: 16
                font.bold: true
            }
            Item { Layout.fillWidth: true }
            Text {
                text: "Filtro"
                color: VelmoraTheme.secondaryText
                font.pixelSize: 12
            }
            SegmentedPicker {
                objectName: "filterPicker"
                accessibleName: "Filtro"
                Layout.preferredWidth: 440
                options: results.filterTitles
                current: results.filterTitles[results.filter]
                onPicked: option => results.filterPicked(results.filterTitles.indexOf(option))
            }
        }

        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true

            EmptyState {
                objectName: "emptyState"
                anchors.fill: parent
                visible: !results.hasFindings
                symbol: "shield.lefthalf.filled"
                scanner: results.scanner
                title: "Aún no hay resultados"
                message: "Pulsa Iniciar análisis para revisar las ubicaciones importantes."
            }

            ListView {
                id: list
                objectName: "findingList"
                anchors.fill: parent
                visible: results.hasFindings
                clip: true
                model: results.findings
                boundsBehavior: Flickable.StopAtBounds
                ScrollBar.vertical: VelmoraScrollBar { objectName: "scrollBar" }
                delegate: ProtectionRow {
                    width: list.width
                    expanded: results.expanded[itemId] === true
                    onToggled: results.scanner.toggleSelection(itemId)
                    onTrustToggled: results.scanner.toggleTrust(itemId)
                    onExpandToggled: results.toggleExpanded(itemId)
                }
            }
        }
    }
}
