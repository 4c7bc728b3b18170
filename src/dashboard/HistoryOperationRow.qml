pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Velmora

// One operation of the history: its module, date, items and size, where it is
// now, "Deshacer" for what is still in the Trash or the quarantine, and its
// items unfolded below, each with "Devolver".
Item {
    id: row

    required property string operationId
    required property string moduleTitle
    required property string dateText
    required property int itemCount
    required property string sizeText
    required property string stateText
    required property bool canUndo
    required property var items
    property bool expanded: false
    property bool busy: false
    property color tint: VelmoraTheme.cyan

    signal toggled
    signal undo
    signal putBack(int index)

    implicitHeight: header.implicitHeight + (expanded ? itemColumn.implicitHeight + 6 : 0) + 14

    Accessible.role: Accessible.ListItem
    Accessible.name: moduleTitle + ", " + dateText + ", " + stateText

    ColumnLayout {
        anchors.fill: parent
        anchors.leftMargin: 10
        anchors.rightMargin: 18
        anchors.topMargin: 7
        spacing: 6

        RowLayout {
            id: header
            Layout.fillWidth: true
            spacing: 12
            Symbol {
                name: "clock.arrow.circlepath"
                size: 22
                color: row.tint
            }
            ColumnLayout {
                spacing: 1
                RowLayout {
                    spacing: 8
                    Text {
                        objectName: "operationModule"
                        text: row.moduleTitle
                        color: "white"
                        font.pixelSize: 14
                        font.weight: Font.DemiBold
                    }
                    Badge {
                        objectName: "operationState"
                        text: row.stateText.toUpperCase()
                        tint: row.tint
                    }
                }
                Text {
                    objectName: "operationDate"
                    text: row.dateText
                    color: VelmoraTheme.mutedText
                    font.pixelSize: 11
                }
                Disclosure {
                    objectName: "operationItemsDisclosure"
                    text: row.itemCount + " elemento(s)"
                    expanded: row.expanded
                    onClicked: row.toggled()
                }
            }
            Item {
                Layout.fillWidth: true
            }
            Text {
                objectName: "operationSize"
                text: row.sizeText
                color: "white"
                font.pixelSize: 13
                font.weight: Font.DemiBold
            }
            VelmoraButton {
                objectName: "undoOperationButton"
                small: true
                symbol: "arrow.uturn.backward"
                text: "Deshacer"
                enabled: row.canUndo && !row.busy
                Accessible.name: "Deshacer " + row.moduleTitle + ", " + row.dateText
                onClicked: row.undo()
            }
        }

        Column {
            id: itemColumn
            Layout.fillWidth: true
            Layout.leftMargin: 34
            visible: row.expanded
            spacing: 4
            Repeater {
                model: row.expanded ? row.items : []
                delegate: RowLayout {
                    id: itemRow
                    required property var modelData
                    width: itemColumn.width
                    spacing: 10
                    ColumnLayout {
                        Layout.fillWidth: true
                        spacing: 0
                        Text {
                            objectName: "historyItemName"
                            Layout.fillWidth: true
                            text: itemRow.modelData.name
                            color: "white"
                            font.pixelSize: 12
                            elide: Text.ElideMiddle
                            textFormat: Text.PlainText
                        }
                        Text {
                            objectName: "historyItemPath"
                            Layout.fillWidth: true
                            text: itemRow.modelData.path
                            color: VelmoraTheme.secondaryText
                            font.pixelSize: 10
                            elide: Text.ElideMiddle
                            textFormat: Text.PlainText
                        }
                    }
                    Text {
                        objectName: "historyItemPlace"
                        text: itemRow.modelData.placeText
                        color: VelmoraTheme.secondaryText
                        font.pixelSize: 11
                        textFormat: Text.PlainText
                    }
                    Text {
                        text: itemRow.modelData.sizeText
                        color: "white"
                        font.pixelSize: 11
                    }
                    VelmoraButton {
                        objectName: "putBackButton"
                        small: true
                        text: "Devolver"
                        visible: itemRow.modelData.canPutBack
                        enabled: !row.busy
                        Accessible.name: "Devolver " + itemRow.modelData.name
                        onClicked: row.putBack(itemRow.modelData.index)
                    }
                }
            }
        }
    }
    Rectangle {
        anchors.bottom: parent.bottom
        width: parent.width
        height: 1
        color: VelmoraTheme.border
    }
}
