import QtQuick
import QtQuick.Layouts
import Velmora

// The bar under a result list: what is selected, and the two actions on it.
Card {
    id: bar

    property string headline
    property string detail
    property string caption
    property string cancelText: "Cancelar selección"
    property string actionText
    property string actionSymbol: "trash"
    property color actionAccent: VelmoraTheme.danger
    property bool actionsEnabled: false
    property bool cancelEnabled: actionsEnabled
    // A symbol before the headline, when set.
    property string symbol
    signal cancelSelection
    signal action

    implicitHeight: 60
    radius: 16

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 18
        anchors.rightMargin: 14
        spacing: 10
        Symbol {
            visible: bar.symbol !== ""
            name: bar.symbol
            size: 22
            color: bar.actionAccent
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 1
            Text {
                objectName: "selectionHeadline"
                Layout.fillWidth: true
                text: bar.headline
                color: "white"
                font.pixelSize: 14
                font.bold: true
            }
            RowLayout {
                Layout.fillWidth: true
                spacing: 10
                Text {
                    objectName: "selectionDetail"
                    text: bar.detail
                    color: VelmoraTheme.secondaryText
                    font.pixelSize: 11
                }
                Text {
                    objectName: "selectionCaption"
                    Layout.fillWidth: true
                    visible: bar.caption !== ""
                    text: bar.caption
                    color: VelmoraTheme.secondaryText
                    font.pixelSize: 11
                    elide: Text.ElideRight
                }
            }
        }
        VelmoraButton {
            objectName: "cancelSelectionButton"
            text: bar.cancelText
            enabled: bar.cancelEnabled
            onClicked: bar.cancelSelection()
        }
        VelmoraButton {
            objectName: "selectionActionButton"
            kind: "prominent"
            accent: bar.actionAccent
            symbol: bar.actionSymbol
            text: bar.actionText
            enabled: bar.actionsEnabled
            onClicked: bar.action()
        }
    }
}
