pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmora

// One finding: its level symbol, name with its badge, folder, type, the reasons
// (the first two, the rest unfolded on request) and the signature, then size
// and trust. A finding that cannot go into quarantine cannot be ticked.
ResultRowFrame {
    id: row

    required property string itemId
    required property string name
    required property string path
    required property string type
    required sizeText
    required property list<string> reasons
    required property string signatureDescription
    // The team the signature names, or null.
    required property var teamIdentifier
    required property string levelBadge
    required property string levelSymbol
    required property string levelColour
    required property bool trusted
    required property bool canSelect
    property bool expanded: false
    signal trustToggled
    signal expandToggled

    readonly property color tint: trusted ? VelmoraTheme.success : VelmoraTheme[levelColour]
    readonly property int hiddenReasons: Math.max(0, reasons.length - 2)
    readonly property list<string> shownReasons: expanded ? reasons : reasons.slice(0, 2)
    readonly property string signatureLine: signatureDescription
        + (teamIdentifier ? " · Equipo " + teamIdentifier : "")

    implicitHeight: lineImplicitHeight + 16
    linePadding: 8
    alignTop: true
    highlight: Qt.rgba(row.tint.r, row.tint.g, row.tint.b, 0.10)
    checkable: row.canSelect
    accessibleState: (row.trusted ? "CONFIABLE" : row.levelBadge).toLowerCase()
    title: row.name
    titleLine.objectName: "nameLine"
    titleLine.font.pixelSize: 14
    titleLine.font.weight: Font.DemiBold
    titleSpacing: 8
    textSpacing: 1
    subtitle: row.path
    subtitleLine.objectName: "pathLine"
    sizeLine.objectName: "sizeLine"

    icon: Symbol {
        objectName: "levelSymbol"
        Layout.topMargin: 2
        Layout.preferredWidth: 24
        name: row.trusted ? "checkmark.seal.fill" : row.levelSymbol
        size: 22
        color: row.tint
    }
    badge: Badge {
        objectName: "levelBadge"
        text: row.trusted ? "CONFIABLE" : row.levelBadge
        tint: row.tint
    }
    // The type and the signature share a line with the unfolding of further
    // reasons, so a row stays low enough for several to show at once.
    lines: [
        RowLayout {
            Layout.fillWidth: true
            spacing: 6
            Text {
                objectName: "typeLine"
                text: row.type
                color: VelmoraTheme.mutedText
                font.pixelSize: 10
                textFormat: Text.PlainText
            }
            Text {
                objectName: "signatureLine"
                Layout.fillWidth: true
                Layout.maximumWidth: implicitWidth
                visible: row.signatureDescription !== ""
                text: "· " + row.signatureLine
                color: VelmoraTheme.mutedText
                font.pixelSize: 10
                elide: Text.ElideRight
                textFormat: Text.PlainText
                HoverHandler { id: signatureHover }
                ToolTip.visible: truncated && signatureHover.hovered
                ToolTip.text: row.signatureLine
            }
            Disclosure {
                objectName: "moreReasons"
                visible: row.hiddenReasons > 0
                showChevron: false
                text: row.expanded ? "Mostrar menos" : "Mostrar " + row.hiddenReasons + " motivo(s) más"
                expanded: row.expanded
                onClicked: row.expandToggled()
            }
            Item { Layout.fillWidth: true }
        },
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
    ]
    afterSize: VelmoraButton {
        objectName: "trustButton"
        kind: "borderless"
        small: true
        text: row.trusted ? "Quitar confianza" : "Confiar"
        accent: VelmoraTheme.cyan
        onClicked: row.trustToggled()
    }
}
