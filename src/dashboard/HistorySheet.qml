pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Templates as T
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The history: every removal of the last 30 days, newest first, with where its
// items are now. An operation unfolds to its items; the whole operation, or one
// item, can be put back. It is read afresh from the journal each time it opens.
Popup {
    id: sheet

    // The operations shown unfolded, by id.
    property var unfolded: ({})

    modal: true
    focus: true
    anchors.centerIn: T.Overlay.overlay
    width: Math.max(850, parent ? Math.min(parent.width - 80, 980) : 850)
    height: Math.max(560, parent ? Math.min(parent.height - 80, 680) : 560)
    padding: 22
    closePolicy: Popup.CloseOnEscape

    T.Overlay.modal: Rectangle { color: Qt.rgba(0, 0, 0, 0.55) }

    background: Rectangle {
        objectName: "sheetPanel"
        radius: 18
        color: "#0B1624"
        border.color: Qt.rgba(1, 1, 1, 0.14)
    }

    onAboutToShow: {
        unfolded = {};
        history.scan();
    }

    function toggle(id) {
        const next = Object.assign({}, unfolded);
        next[id] = !next[id];
        unfolded = next;
    }

    function stateTint(state) {
        if (state === "Deshecha" || state === "Deshecha en parte")
            return VelmoraTheme.success;
        if (state === "En la Papelera" || state === "En cuarentena")
            return VelmoraTheme.cyan;
        return VelmoraTheme.warning;
    }

    OperationHistory {
        id: history
        objectName: "operationHistory"
    }

    contentItem: ColumnLayout {
        spacing: 14

        RowLayout {
            Layout.fillWidth: true
            spacing: 12
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2
                Text {
                    objectName: "sheetTitle"
                    Layout.fillWidth: true
                    text: "Historial"
                    color: "white"
                    font.pixelSize: 22
                    font.bold: true
                }
                Text {
                    objectName: "historyStatus"
                    Layout.fillWidth: true
                    text: history.statusText
                    color: VelmoraTheme.secondaryText
                    font.pixelSize: 13
                    textFormat: Text.PlainText
                    elide: Text.ElideRight
                }
            }
            Spinner {
                visible: history.isScanning || history.isRemoving
            }
            VelmoraButton {
                objectName: "closeSheetButton"
                text: "Cerrar"
                onClicked: sheet.close()
            }
        }

        Text {
            objectName: "historyError"
            Layout.fillWidth: true
            visible: text !== ""
            text: history.errorMessage
            color: VelmoraTheme.warning
            font.pixelSize: 12
            wrapMode: Text.WordWrap
            textFormat: Text.PlainText
        }

        Card {
            Layout.fillWidth: true
            Layout.fillHeight: true
            radius: 16

            Column {
                objectName: "historyEmpty"
                anchors.centerIn: parent
                visible: history.operationCount === 0 && !history.isScanning
                spacing: 10
                Symbol {
                    anchors.horizontalCenter: parent.horizontalCenter
                    name: "clock.arrow.circlepath"
                    size: 40
                    color: VelmoraTheme.success
                }
                Text {
                    text: "No hay eliminaciones en los últimos 30 días"
                    color: "white"
                    font.pixelSize: 17
                    font.bold: true
                }
            }

            ListView {
                id: list
                objectName: "operationList"
                anchors.fill: parent
                anchors.margins: 10
                visible: history.operationCount > 0
                clip: true
                spacing: 2
                model: history.operationsModel
                boundsBehavior: Flickable.StopAtBounds
                ScrollBar.vertical: VelmoraScrollBar { objectName: "scrollBar" }
                delegate: HistoryOperationRow {
                    width: list.width
                    expanded: !!sheet.unfolded[operationId]
                    busy: history.isRemoving
                    tint: sheet.stateTint(stateText)
                    onToggled: sheet.toggle(operationId)
                    onUndo: history.undoOperation(operationId)
                    onPutBack: index => history.undoItem(operationId, index)
                }
            }
        }
    }
}
