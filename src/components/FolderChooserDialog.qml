pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Templates as T
import QtQuick.Layouts
import Qt.labs.folderlistmodel
import Velmora
import Velmora.Core

// The modal folder chooser: folders only, one at a time. The prompt button (or
// Return) chooses the highlighted subfolder, or the folder being shown when none
// is highlighted. The arrow keys move the highlight, Right opens it and Left goes
// up. Cancel, Escape or closing answer nothing.
Popup {
    id: chooser

    property string title
    property string message
    property string prompt: "Analizar"
    property string startFolder
    property string currentFolder: AppPaths.homeFolder
    property string highlighted: ""
    signal chosen(string folder)
    signal cancelled

    property bool answered: false

    function show(titleText, messageText, promptText, folder) {
        title = titleText;
        message = messageText;
        prompt = promptText;
        currentFolder = folder;
        highlighted = "";
        answered = false;
        open();
        list.forceActiveFocus();
    }
    function openFolder(folder) {
        currentFolder = folder;
        highlighted = "";
        list.currentIndex = -1;
    }
    function accept() {
        answered = true;
        close();
        chosen(highlighted !== "" ? highlighted : currentFolder);
    }
    function moveHighlight(by) {
        if (folders.count === 0)
            return;
        list.currentIndex = Math.max(0, Math.min(folders.count - 1, list.currentIndex + by));
        highlighted = folders.get(list.currentIndex, "filePath");
    }
    function parentOf(folder) {
        const i = folder.lastIndexOf("/");
        return i <= 0 ? "/" : folder.substring(0, i);
    }

    modal: true
    focus: true
    anchors.centerIn: T.Overlay.overlay
    width: 560
    height: 460
    padding: 20
    closePolicy: Popup.CloseOnEscape
    onClosed: if (!answered) cancelled()

    T.Overlay.modal: Rectangle { color: Qt.rgba(0, 0, 0, 0.55) }
    background: Rectangle {
        radius: 16
        color: "#0F1B2A"
        border.color: Qt.rgba(1, 1, 1, 0.14)
    }

    FolderListModel {
        id: folders
        folder: AppPaths.fileUrl(chooser.currentFolder !== "" ? chooser.currentFolder : "/")
        showFiles: false
        showDirs: true
        showHidden: false
        showDotAndDotDot: false
        sortField: FolderListModel.Name
    }

    contentItem: ColumnLayout {
        objectName: "folderChooser"
        spacing: 10
        Text {
            objectName: "chooserTitle"
            text: chooser.title
            color: "white"
            font.pixelSize: 16
            font.bold: true
        }
        Text {
            objectName: "chooserMessage"
            Layout.fillWidth: true
            text: chooser.message
            color: VelmoraTheme.secondaryText
            font.pixelSize: 12
            wrapMode: Text.WordWrap
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: 8
            VelmoraButton {
                objectName: "chooserUp"
                small: true
                symbol: "chevron.left"
                help: "Carpeta superior"
                enabled: chooser.currentFolder !== "/"
                onClicked: chooser.openFolder(chooser.parentOf(chooser.currentFolder))
            }
            Text {
                objectName: "chooserPath"
                Layout.fillWidth: true
                text: chooser.currentFolder
                textFormat: Text.PlainText
                color: "white"
                font.pixelSize: 12
                elide: Text.ElideMiddle
                HoverHandler { id: pathHover }
                ToolTip.visible: truncated && pathHover.hovered
                ToolTip.text: text
            }
        }
        Rectangle {
            Layout.fillWidth: true
            Layout.fillHeight: true
            radius: 10
            color: Qt.rgba(1, 1, 1, 0.03)
            border.color: VelmoraTheme.border
            FocusRing {
                shown: list.activeFocus
                controlRadius: 10
            }
            ListView {
                id: list
                anchors.fill: parent
                anchors.margins: 4
                clip: true
                model: folders
                currentIndex: -1
                activeFocusOnTab: true
                Accessible.role: Accessible.List
                Accessible.name: "Carpetas de " + chooser.currentFolder
                boundsBehavior: Flickable.StopAtBounds
                Keys.onUpPressed: chooser.moveHighlight(-1)
                Keys.onDownPressed: chooser.moveHighlight(1)
                Keys.onRightPressed: if (chooser.highlighted !== "") chooser.openFolder(chooser.highlighted)
                Keys.onLeftPressed: if (chooser.currentFolder !== "/") chooser.openFolder(chooser.parentOf(chooser.currentFolder))
                Keys.onReturnPressed: chooser.accept()
                Keys.onEnterPressed: chooser.accept()
                ScrollBar.vertical: VelmoraScrollBar { objectName: "scrollBar" }
                delegate: Rectangle {
                    id: folderEntry
                    required property int index
                    required property string fileName
                    required property string filePath
                    objectName: "chooserFolder_" + fileName
                    width: list.width
                    height: 30
                    radius: 7
                    color: chooser.highlighted === filePath ? Qt.rgba(14 / 255, 165 / 255, 233 / 255, 0.25)
                                                            : "transparent"
                    RowLayout {
                        anchors.fill: parent
                        anchors.leftMargin: 8
                        spacing: 8
                        Symbol { name: "folder.fill"; size: 16; color: VelmoraTheme.cyan }
                        Text {
                            Layout.fillWidth: true
                            text: folderEntry.fileName
                            textFormat: Text.PlainText
                            color: "white"
                            font.pixelSize: 12
                            elide: Text.ElideRight
                        }
                    }
                    TapHandler {
                        onTapped: {
                            list.currentIndex = folderEntry.index;
                            chooser.highlighted = folderEntry.filePath;
                        }
                        onDoubleTapped: chooser.openFolder(folderEntry.filePath)
                    }
                }
            }
        }
        RowLayout {
            Layout.alignment: Qt.AlignRight
            spacing: 8
            VelmoraButton {
                objectName: "chooserCancel"
                text: "Cancelar"
                onClicked: chooser.close()
            }
            VelmoraButton {
                objectName: "chooserAccept"
                kind: "prominent"
                text: chooser.prompt
                onClicked: chooser.accept()
            }
        }
    }
}
