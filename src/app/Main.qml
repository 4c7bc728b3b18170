import QtQuick
import QtQuick.Controls.Basic
import Velmora
import Velmora.Core

ApplicationWindow {
    id: window

    width: 1120
    height: 730
    minimumWidth: 980
    minimumHeight: 680
    visible: true
    title: "Velmora"
    color: VelmoraTheme.windowBackground

    palette {
        window: VelmoraTheme.windowBackground
        windowText: "white"
        base: "#0B1724"
        alternateBase: "#0F1D2C"
        text: "white"
        button: "#14263A"
        buttonText: "white"
        highlight: VelmoraTheme.blue
        highlightedText: "white"
        placeholderText: VelmoraTheme.mutedText
        toolTipBase: "#14263A"
        toolTipText: "white"
        light: "#1E3550"
        midlight: "#182C44"
        mid: "#10202F"
        dark: "#050D16"
        shadow: "black"
    }

    FolderChooserDialog {
        id: folderDialog
        objectName: "folderChooserDialog"
        onChosen: folder => FolderChooser.accept(folder)
        onCancelled: FolderChooser.reject()
    }

    Connections {
        target: FolderChooser
        function onRequested(title, message, prompt) {
            folderDialog.show(title, message, prompt, AppPaths.homeFolder);
        }
    }

    ContentView {
        objectName: "contentView"
        anchors.fill: parent
    }

    Notice {
        id: notice
        objectName: "notice"
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 96
    }

    Connections {
        target: FileViewer
        function onRevealFailed() {
            notice.show("No hay ningún visor de archivos disponible para mostrar este elemento.");
        }
    }
}
