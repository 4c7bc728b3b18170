pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Templates as T
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The quarantine sheet: what is isolated, newest first, with a restore to the
// original place and a move to the Trash, each after confirming. It only
// observes the protection screen's manager; the manager's messages show
// behind it.
Popup {
    id: sheet

    required property ProtectionQuarantineManager manager
    // The record whose restore or move to the Trash awaits confirmation; ""
    // when none.
    property string pendingRecord
    property string pendingName
    property string pendingOrigin

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

    function ask(dialog, id, name, origin) {
        pendingName = name;
        pendingOrigin = origin;
        pendingRecord = id;
        dialog.open();
    }
    function askToRestore(id, name, origin) {
        ask(restoreConfirmation, id, name, origin);
    }
    function askToTrash(id, name, origin) {
        ask(trashConfirmation, id, name, origin);
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
                    text: "Cuarentena"
                    color: "white"
                    font.pixelSize: 22
                    font.bold: true
                }
                Text {
                    objectName: "sheetCount"
                    Layout.fillWidth: true
                    text: sheet.manager.recordCount + " elemento(s) aislados"
                    color: VelmoraTheme.secondaryText
                    font.pixelSize: 13
                }
            }
            VelmoraButton {
                objectName: "closeSheetButton"
                text: "Cerrar"
                onClicked: sheet.close()
            }
        }

        Card {
            Layout.fillWidth: true
            Layout.fillHeight: true
            radius: 16

            Column {
                objectName: "quarantineEmpty"
                anchors.centerIn: parent
                visible: sheet.manager.recordCount === 0
                spacing: 10
                Symbol {
                    anchors.horizontalCenter: parent.horizontalCenter
                    name: "archivebox.fill"
                    size: 40
                    color: VelmoraTheme.success
                }
                Text {
                    text: "La cuarentena está vacía"
                    color: "white"
                    font.pixelSize: 17
                    font.bold: true
                }
            }

            ListView {
                id: list
                objectName: "recordList"
                anchors.fill: parent
                anchors.margins: 10
                visible: sheet.manager.recordCount > 0
                clip: true
                model: sheet.manager.records
                boundsBehavior: Flickable.StopAtBounds
                ScrollBar.vertical: VelmoraScrollBar { objectName: "scrollBar" }
                delegate: Item {
                    id: recordRow
                    required property string recordId
                    required property string name
                    required property string originalPath
                    required property string sizeText
                    required property string dateText
                    width: list.width
                    implicitHeight: 62

                    RowLayout {
                        anchors.fill: parent
                        anchors.leftMargin: 10
                        anchors.rightMargin: 18
                        spacing: 12
                        Symbol {
                            name: "archivebox.fill"
                            size: 24
                            color: VelmoraTheme.warning
                        }
                        ColumnLayout {
                            Layout.fillWidth: true
                            spacing: 1
                            Text {
                                objectName: "recordName"
                                Layout.fillWidth: true
                                text: recordRow.name
                                color: "white"
                                font.pixelSize: 14
                                font.weight: Font.DemiBold
                                elide: Text.ElideMiddle
                                textFormat: Text.PlainText
                            }
                            Text {
                                objectName: "recordOriginalPath"
                                Layout.fillWidth: true
                                // Found in the folder with no record to say where it came from.
                                text: recordRow.originalPath.length > 0 ? recordRow.originalPath
                                                                        : "Origen desconocido"
                                color: VelmoraTheme.secondaryText
                                font.pixelSize: 11
                                elide: Text.ElideMiddle
                                maximumLineCount: 1
                                textFormat: Text.PlainText
                            }
                            Text {
                                objectName: "recordDate"
                                text: recordRow.dateText
                                color: VelmoraTheme.mutedText
                                font.pixelSize: 10
                            }
                        }
                        Text {
                            text: recordRow.sizeText
                            color: "white"
                            font.pixelSize: 13
                            font.weight: Font.DemiBold
                        }
                        VelmoraButton {
                            objectName: "restoreButton"
                            small: true
                            text: "Restaurar"
                            onClicked: sheet.askToRestore(recordRow.recordId, recordRow.name,
                                                          recordRow.originalPath)
                        }
                        VelmoraButton {
                            objectName: "deleteButton"
                            small: true
                            kind: "prominent"
                            accent: VelmoraTheme.danger
                            text: "Eliminar"
                            onClicked: sheet.askToTrash(recordRow.recordId, recordRow.name,
                                                        recordRow.originalPath)
                        }
                    }
                    Rectangle {
                        anchors.bottom: parent.bottom
                        width: parent.width
                        height: 1
                        color: VelmoraTheme.border
                    }
                }
            }
        }
    }

    ConfirmDialog {
        id: restoreConfirmation
        objectName: "recordRestoreConfirmation"
        title: "¿Restaurar este elemento?"
        // A record found in the folder with no origin goes to the home folder.
        message: sheet.pendingName + " volverá a "
                 + (sheet.pendingOrigin.length > 0 ? sheet.pendingOrigin : "tu carpeta personal")
                 + "."
        confirmText: "Restaurar"
        confirmAccent: VelmoraTheme.blue
        onConfirmed: {
            if (sheet.pendingRecord !== "")
                sheet.manager.restore(sheet.pendingRecord);
            sheet.pendingRecord = "";
        }
        onClosed: sheet.pendingRecord = ""
    }

    ConfirmDialog {
        id: trashConfirmation
        objectName: "recordTrashConfirmation"
        title: "¿Mover definitivamente este elemento a la Papelera?"
        message: sheet.pendingName + " se moverá a la Papelera."
        confirmText: "Mover a la Papelera"
        onConfirmed: {
            if (sheet.pendingRecord !== "")
                sheet.manager.moveToTrash(sheet.pendingRecord);
            sheet.pendingRecord = "";
        }
        onClosed: sheet.pendingRecord = ""
    }
}
