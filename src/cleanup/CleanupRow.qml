import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// One cache entry: checkbox, icon, names, file count and date, protection reason,
// badge (protected, in use by an open application, or recommended), size, reveal.
Item {
    id: row

    required property string itemId
    required property string url
    required property string name
    required property string displayName
    required property string sizeText
    required property int itemCount
    required property string dateText
    required property bool isProtected
    required property string protectionReason
    required property bool selected
    property bool recommended: false
    // The open application that keeps this cache out of the smart selection.
    property string inUseBy: ""
    signal toggled

    readonly property color orange: "#FF9F0A"

    implicitHeight: isProtected ? 70 : 56

    Rectangle {
        anchors.fill: parent
        anchors.topMargin: 2
        anchors.bottomMargin: 2
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
            enabledBox: !row.isProtected
            onToggled: row.toggled()
        }
        Symbol {
            objectName: "rowIcon"
            Layout.preferredWidth: 24
            name: row.isProtected ? "lock.shield.fill" : "shippingbox.fill"
            size: 20
            color: row.isProtected ? row.orange : VelmoraTheme.secondaryText
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 1
            RowLayout {
                Layout.fillWidth: true
                spacing: 6
                Text {
                    text: row.displayName
                    color: "white"
                    font.pixelSize: 13
                    font.weight: Font.DemiBold
                    textFormat: Text.PlainText
                }
                Text {
                    Layout.fillWidth: true
                    text: row.name
                    color: VelmoraTheme.secondaryText
                    font.pixelSize: 11
                    elide: Text.ElideMiddle
                    textFormat: Text.PlainText
                }
            }
            Text {
                objectName: "rowDetail"
                Layout.fillWidth: true
                text: row.itemCount + " archivo(s)"
                      + (row.dateText !== "" ? "   Última actividad: " + row.dateText : "")
                color: VelmoraTheme.secondaryText
                font.pixelSize: 11
                elide: Text.ElideRight
            }
            Text {
                objectName: "rowReason"
                visible: row.protectionReason !== ""
                Layout.fillWidth: true
                text: row.protectionReason
                color: row.orange
                font.pixelSize: 11
                elide: Text.ElideRight
            }
        }
        Badge {
            objectName: "rowBadge"
            visible: row.isProtected || row.inUseBy !== "" || row.recommended
            text: row.isProtected ? "PROTEGIDA POR macOS" : row.inUseBy !== "" ? "EN USO" : "RECOMENDADA"
            tint: row.isProtected ? row.orange : row.inUseBy !== "" ? VelmoraTheme.cyan : VelmoraTheme.success
            help: !row.isProtected && row.inUseBy !== "" ? "En uso por " + row.inUseBy + ", que está abierta." : ""
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
