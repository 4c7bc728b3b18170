import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// One large file: checkbox, icon, name over its folder, size, reveal.
Item {
    id: row

    required property int index
    required property string itemId
    required property string url
    required property string name
    required property string path
    required property string sizeText
    required property bool selected
    signal toggled

    implicitHeight: 50

    Rectangle {
        anchors.fill: parent
        anchors.rightMargin: 8
        radius: 10
        color: row.selected ? Qt.rgba(14 / 255, 165 / 255, 233 / 255, 0.10)
                            : hover.hovered ? Qt.rgba(1, 1, 1, 0.035) : "transparent"
    }
    HoverHandler { id: hover }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 8
        anchors.rightMargin: 16
        spacing: 12

        VelmoraCheckBox {
            objectName: "rowCheckBox"
            checked: row.selected
            onToggled: row.toggled()
        }
        Symbol {
            Layout.preferredWidth: 24
            name: "doc.fill"
            size: 20
            color: VelmoraTheme.blue
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 1
            Text {
                Layout.fillWidth: true
                text: row.name
                color: "white"
                font.pixelSize: 13
                font.weight: Font.Medium
                elide: Text.ElideMiddle
                textFormat: Text.PlainText
            }
            Text {
                Layout.fillWidth: true
                text: row.path
                color: VelmoraTheme.secondaryText
                font.pixelSize: 11
                elide: Text.ElideMiddle
                textFormat: Text.PlainText
            }
        }
        Text {
            text: row.sizeText
            color: "white"
            font.pixelSize: 13
            font.weight: Font.DemiBold
        }
        VelmoraButton {
            objectName: "revealButton"
            kind: "borderless"
            small: true
            symbol: "magnifyingglass"
            accent: VelmoraTheme.secondaryText
            help: "Mostrar en Finder"
            onClicked: FileViewer.reveal(row.url)
        }
    }
}
