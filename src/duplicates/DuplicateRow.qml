import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// One file of a group: checkbox (off for the kept file), icon, name with the
// "CONSERVAR" badge for the kept file, folder, size and reveal.
Item {
    id: row

    required property string itemId
    required property string url
    required property string name
    required property string path
    required property string sizeText
    required property bool isKeeper
    required property bool selected
    signal toggled

    implicitHeight: 48

    Rectangle {
        anchors.fill: parent
        anchors.rightMargin: 8
        radius: 10
        color: row.selected ? Qt.rgba(139 / 255, 92 / 255, 246 / 255, 0.12)
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
            enabledBox: !row.isKeeper
            onToggled: row.toggled()
        }
        Symbol {
            objectName: "rowIcon"
            Layout.preferredWidth: 24
            name: row.isKeeper ? "checkmark.shield.fill" : "doc.on.doc.fill"
            size: 20
            color: row.isKeeper ? VelmoraTheme.success : VelmoraTheme.violet
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 1
            RowLayout {
                Layout.fillWidth: true
                spacing: 6
                Text {
                    Layout.maximumWidth: 420
                    text: row.name
                    color: "white"
                    font.pixelSize: 13
                    font.weight: Font.Medium
                    elide: Text.ElideMiddle
                    textFormat: Text.PlainText
                }
                Badge {
                    objectName: "keeperBadge"
                    visible: row.isKeeper
                    text: "CONSERVAR"
                    tint: VelmoraTheme.success
                }
                Item { Layout.fillWidth: true }
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
