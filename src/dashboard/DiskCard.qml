import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The sidebar's disk card: used share in a ring, the volume and its free space.
Card {
    id: card

    required property DiskStatus disk

    implicitHeight: 92
    radius: 16

    RowLayout {
        anchors.fill: parent
        anchors.margins: 14
        spacing: 12

        Item {
            Layout.preferredWidth: 60
            Layout.preferredHeight: 60
            UsageRing {
                objectName: "diskRing"
                anchors.fill: parent
                share: card.disk.usedShare
            }
            Text {
                objectName: "diskPercent"
                anchors.centerIn: parent
                text: card.disk.usedPercent + "%"
                color: "white"
                font.pixelSize: 13
                font.bold: true
            }
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2
            Text {
                text: "Macintosh HD"
                color: "white"
                font.pixelSize: 13
                font.bold: true
            }
            Text {
                text: "Saludable"
                color: VelmoraTheme.success
                font.pixelSize: 11
                font.weight: Font.DemiBold
            }
            Text {
                objectName: "diskFree"
                Layout.fillWidth: true
                text: card.disk.freeText + " libres"
                color: VelmoraTheme.secondaryText
                font.pixelSize: 11
                wrapMode: Text.WordWrap
            }
        }
    }
}
