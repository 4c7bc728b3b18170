pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// One finding: checkbox, level symbol, name with its badge, folder, type, the
// reasons (the first two, the rest unfolded on request) and the signature,
// then size, trust and reveal.
Item {
    id: row

    required property string itemId
    required property string url
    required property string name
    required property string path
    required property string type
    required property string sizeText
    required property var reasons
    required property string signatureDescription
    required property var teamIdentifier
    required property string levelBadge
    required property string levelSymbol
    required property string levelColour
    required property bool trusted
    required property bool canSelect
    required property bool selected
    property bool expanded: false
    signal toggled
    signal trustToggled
    signal expandToggled

    readonly property color tint: trusted ? VelmoraTheme.success : VelmoraTheme[levelColour]
    readonly property int hiddenReasons: Math.max(0, reasons.length - 2)
    readonly property var shownReasons: expanded ? reasons : reasons.slice(0, 2)
    readonly property string signatureLine: signatureDescription
        + (teamIdentifier ? " · Equipo " + teamIdentifier : "")

    implicitHeight: content.implicitHeight + 20

    Rectangle {
        anchors.fill: parent
        anchors.rightMargin: 8
        radius: 10
        color: row.selected ? Qt.rgba(row.tint.r, row.tint.g, row.tint.b, 0.10)
                            : hover.hovered ? Qt.rgba(1, 1, 1, 0.035) : "transparent"
    }
    HoverHandler { id: hover }

    RowLayout {
        id: content
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        anchors.leftMargin: 8
        anchors.rightMargin: 16
        spacing: 12

        VelmoraCheckBox {
            objectName: "rowCheckBox"
            Layout.alignment: Qt.AlignTop
            Layout.topMargin: 4
            checked: row.selected
            enabled: row.canSelect
            opacity: enabled ? 1 : 0.35
            onToggled: row.toggled()
        }
        Symbol {
            objectName: "levelSymbol"
            Layout.alignment: Qt.AlignTop
            Layout.topMargin: 2
            Layout.preferredWidth: 24
            name: row.trusted ? "checkmark.seal.fill" : row.levelSymbol
            size: 22
            color: row.tint
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2
            RowLayout {
                id: nameRow
                Layout.fillWidth: true
                spacing: 8
                Text {
                    objectName: "nameLine"
                    Layout.preferredWidth: Math.min(implicitWidth,
                                                    nameRow.width - badge.implicitWidth - 8)
                    text: row.name
                    color: "white"
                    font.pixelSize: 14
                    font.weight: Font.DemiBold
                    elide: Text.ElideMiddle
                    textFormat: Text.PlainText
                }
                Badge {
                    id: badge
                    objectName: "levelBadge"
                    text: row.trusted ? "CONFIABLE" : row.levelBadge
                    tint: row.tint
                }
                Item { Layout.fillWidth: true }
            }
            Text {
                objectName: "pathLine"
                Layout.fillWidth: true
                text: row.path
                color: VelmoraTheme.secondaryText
                font.pixelSize: 11
                elide: Text.ElideMiddle
                textFormat: Text.PlainText
            }
            Text {
                objectName: "typeLine"
                Layout.fillWidth: true
                text: row.type
                color: VelmoraTheme.mutedText
                font.pixelSize: 10
                textFormat: Text.PlainText
            }
            Repeater {
                model: row.shownReasons
                delegate: Text {
                    required property string modelData
                    objectName: "reasonLine"
                    Layout.fillWidth: true
                    text: modelData
                    color: VelmoraTheme.secondaryText
                    font.pixelSize: 11
                    wrapMode: Text.WordWrap
                    textFormat: Text.PlainText
                }
            }
            Text {
                objectName: "moreReasons"
                visible: row.hiddenReasons > 0
                text: row.expanded ? "Mostrar menos" : "Mostrar " + row.hiddenReasons + " motivo(s) más"
                color: VelmoraTheme.cyan
                font.pixelSize: 11
                TapHandler { onTapped: row.expandToggled() }
                HoverHandler { cursorShape: Qt.PointingHandCursor }
            }
            Text {
                objectName: "signatureLine"
                Layout.fillWidth: true
                visible: row.signatureDescription !== ""
                text: row.signatureLine
                color: VelmoraTheme.mutedText
                font.pixelSize: 10
                elide: Text.ElideRight
                textFormat: Text.PlainText
            }
        }
        Text {
            objectName: "sizeLine"
            Layout.alignment: Qt.AlignTop
            Layout.topMargin: 2
            text: row.sizeText
            color: "white"
            font.pixelSize: 13
            font.weight: Font.DemiBold
        }
        VelmoraButton {
            objectName: "trustButton"
            Layout.alignment: Qt.AlignTop
            kind: "borderless"
            small: true
            text: row.trusted ? "Quitar confianza" : "Confiar"
            accent: VelmoraTheme.cyan
            onClicked: row.trustToggled()
        }
        VelmoraButton {
            objectName: "revealButton"
            Layout.alignment: Qt.AlignTop
            kind: "borderless"
            small: true
            symbol: "magnifyingglass"
            accent: VelmoraTheme.secondaryText
            help: "Mostrar en Finder"
            onClicked: FileViewer.reveal(row.url)
        }
    }
}
