import QtQuick
import Velmora

// What a results card shows while it has nothing to list.
Item {
    id: empty

    property string symbol: "magnifyingglass"
    property string title
    property string message

    Column {
        anchors.centerIn: parent
        width: Math.min(parent.width - 32, 420)
        spacing: 8
        Symbol {
            anchors.horizontalCenter: parent.horizontalCenter
            name: empty.symbol
            size: 34
            color: VelmoraTheme.secondaryText
        }
        Text {
            objectName: "emptyTitle"
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            text: empty.title
            color: "white"
            font.pixelSize: 15
            font.bold: true
        }
        Text {
            objectName: "emptyMessage"
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            text: empty.message
            color: VelmoraTheme.secondaryText
            font.pixelSize: 12
        }
    }
}
