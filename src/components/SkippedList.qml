pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmora
import Velmora.Core

// What a scan left out, unfolded from its SkippedLine: each path, from "~" when
// it lies in the home, with why it was left out. A long list scrolls.
ListView {
    id: list

    required property ScannerBase scanner
    required property bool expanded
    readonly property string home: AppPaths.homeFolder

    objectName: "skippedList"
    visible: expanded
    implicitHeight: expanded ? Math.min(contentHeight, 132) : 0
    clip: true
    spacing: 2
    boundsBehavior: Flickable.StopAtBounds
    model: expanded ? scanner.skippedItems : []
    ScrollBar.vertical: VelmoraScrollBar {}

    function shortPath(path) {
        return path.startsWith(home + "/") ? "~" + path.substring(home.length) : path;
    }

    delegate: RowLayout {
        id: entry
        required property var modelData
        objectName: "skippedEntry"
        width: ListView.view.width - 12
        spacing: 8
        Text {
            objectName: "skippedPath"
            Layout.fillWidth: true
            Layout.leftMargin: 15
            text: list.shortPath(entry.modelData.path)
            textFormat: Text.PlainText
            color: VelmoraTheme.secondaryText
            font.pixelSize: 11
            elide: Text.ElideMiddle
        }
        Text {
            objectName: "skippedReason"
            text: entry.modelData.reasonText
            textFormat: Text.PlainText
            color: VelmoraTheme.warning
            font.pixelSize: 10
        }
    }
}
