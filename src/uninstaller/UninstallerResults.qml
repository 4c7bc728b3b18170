pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import Velmora
import Velmora.Core

// The applications that match the search, or the empty state.
Card {
    id: results
    objectName: "uninstallerResults"

    required property UninstallerScanner scanner
    required property ApplicationFilterModel applications
    readonly property bool hasApplications: applications.count > 0
    // Rows whose leftovers are unfolded, by application identifier.
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

    EmptyState {
        objectName: "emptyState"
        anchors.fill: parent
        visible: !results.hasApplications
        symbol: "app.dashed"
        title: "No hay aplicaciones"
        message: results.scanner.isScanning
                 ? "Analizando aplicaciones instaladas…" : "No se encontraron resultados."
    }

    ListView {
        id: list
        objectName: "applicationList"
        anchors.fill: parent
        anchors.margins: 10
        visible: results.hasApplications
        clip: true
        model: results.applications
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: VelmoraScrollBar { objectName: "scrollBar" }
        delegate: ApplicationRow {
            width: list.width
            expanded: results.expanded[itemId] === true
            onToggled: results.scanner.toggleSelection(itemId)
            onExpandToggled: results.toggleExpanded(itemId)
        }
    }
}
