import QtQuick
import QtQuick.Layouts
import Velmora

// What every result row shares, from left to right: the tint of a selected row
// (a faint one under the pointer), the checkbox, the item's icon, its name with
// a badge beside it over a second line and any further lines, what the row shows
// before and after the size, and the button that reveals the item. A row brings
// its own model inputs and fills the slots; children it adds besides lie under
// the line, which is as high as the row unless `lineHeight` says otherwise.
// A layout cannot tell whether its children are shown while it is hidden
// itself, so the row says when the badge and what precedes the size show.
Item {
    id: frame

    required property bool selected
    required property string url
    property string sizeText
    // The row's state in a word for a screen reader ("peligroso", "en uso"),
    // said between its name and its size.
    property string accessibleState
    property color highlight
    // A box that cannot be ticked still shows whether the item is selected.
    property bool checkable: true
    // Rows whose lines grow downwards keep their controls on the first one.
    property bool alignTop: false
    // The tint's margin above and below.
    property int highlightInset: 0
    property real linePadding: 0
    property real lineHeight: height - 2 * linePadding
    readonly property alias lineImplicitHeight: line.implicitHeight

    property alias title: titleLine.text
    property alias titleLine: titleLine
    property alias titleSpacing: titleRow.spacing
    property real titleMaximumWidth: Number.POSITIVE_INFINITY
    property bool badgeVisible: true
    // The badge is a line of text that takes the rest of the name's line.
    property bool badgeFills: false
    property alias subtitle: subtitleLine.text
    property alias subtitleLine: subtitleLine
    property alias textSpacing: texts.spacing
    property alias sizeLine: sizeLine

    property alias icon: iconSlot.data
    property alias badge: badgeSlot.data
    property alias lines: texts.data
    property alias beforeSize: beforeSizeSlot.data
    property bool beforeSizeVisible: true
    property alias afterSize: afterSizeSlot.data

    signal toggled

    Accessible.role: Accessible.ListItem
    Accessible.name: [title, accessibleState, sizeText].filter(part => part !== "").join(", ")
    Accessible.selectable: true
    Accessible.selected: selected

    readonly property int controlAlignment: alignTop ? Qt.AlignTop : Qt.AlignVCenter

    Rectangle {
        anchors.fill: parent
        anchors.topMargin: frame.highlightInset
        anchors.bottomMargin: frame.highlightInset
        anchors.rightMargin: 8
        radius: 10
        color: frame.selected ? frame.highlight
                              : hover.hovered ? Qt.rgba(1, 1, 1, 0.035) : "transparent"
    }
    HoverHandler { id: hover }

    RowLayout {
        id: line
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.topMargin: frame.linePadding
        anchors.leftMargin: 8
        anchors.rightMargin: 16
        height: frame.lineHeight
        spacing: 12

        VelmoraCheckBox {
            objectName: "rowCheckBox"
            Layout.alignment: frame.controlAlignment
            Layout.topMargin: frame.alignTop ? 4 : 0
            checked: frame.selected
            enabled: frame.checkable
            accessibleName: "Seleccionar " + frame.title
            onToggled: frame.toggled()
        }
        RowLayout {
            id: iconSlot
            Layout.alignment: frame.controlAlignment
            visible: children.length > 0
        }
        ColumnLayout {
            id: texts
            Layout.fillWidth: true
            spacing: 1
            RowLayout {
                id: titleRow
                Layout.fillWidth: true
                spacing: 6
                Text {
                    id: titleLine
                    // The name gives way to the badge, which stays beside it.
                    Layout.fillWidth: true
                    Layout.maximumWidth: Math.ceil(Math.min(implicitWidth, frame.titleMaximumWidth))
                    color: "white"
                    font.pixelSize: 13
                    font.weight: Font.Medium
                    elide: Text.ElideMiddle
                    textFormat: Text.PlainText
                }
                RowLayout {
                    id: badgeSlot
                    Layout.fillWidth: frame.badgeFills
                    visible: frame.badgeVisible && children.length > 0
                }
                Item {
                    Layout.fillWidth: true
                    visible: !frame.badgeFills
                }
            }
            Text {
                id: subtitleLine
                Layout.fillWidth: true
                color: VelmoraTheme.secondaryText
                font.pixelSize: 11
                elide: Text.ElideMiddle
                textFormat: Text.PlainText
            }
        }
        RowLayout {
            id: beforeSizeSlot
            Layout.alignment: frame.controlAlignment
            visible: frame.beforeSizeVisible && children.length > 0
        }
        Text {
            id: sizeLine
            Layout.alignment: frame.controlAlignment
            Layout.topMargin: frame.alignTop ? 2 : 0
            visible: frame.sizeText !== ""
            text: frame.sizeText
            color: "white"
            font.pixelSize: 13
            font.weight: Font.DemiBold
        }
        RowLayout {
            id: afterSizeSlot
            Layout.alignment: frame.controlAlignment
            spacing: 12
            visible: children.length > 0
        }
        VelmoraButton {
            objectName: "revealButton"
            Layout.alignment: frame.controlAlignment
            kind: "borderless"
            small: true
            symbol: "magnifyingglass"
            accent: VelmoraTheme.secondaryText
            help: "Mostrar en Finder"
            onClicked: FileViewer.reveal(frame.url)
        }
    }
}
