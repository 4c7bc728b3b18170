import QtQuick
import QtQuick.Layouts
import Velmora

// One module's figures in the summary, with the way into the module.
Card {
    id: card

    property string title
    property string value
    property string detail
    property string symbol
    property color accent: VelmoraTheme.blue
    property bool reviewEnabled: true
    signal review

    implicitHeight: 150
    radius: 16

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 16
        spacing: 6
        RowLayout {
            Layout.fillWidth: true
            spacing: 10
            SymbolTile {
                Layout.preferredWidth: 36
                Layout.preferredHeight: 36
                symbol: card.symbol
                accent: card.accent
            }
            Text {
                Layout.fillWidth: true
                text: card.title
                color: "white"
                font.pixelSize: 14
                font.bold: true
                elide: Text.ElideRight
            }
        }
        Text {
            objectName: "resultValue"
            Layout.fillWidth: true
            text: card.value
            color: "white"
            font.pixelSize: 22
            font.bold: true
            elide: Text.ElideRight
        }
        Text {
            objectName: "resultDetail"
            Layout.fillWidth: true
            text: card.detail
            color: VelmoraTheme.secondaryText
            font.pixelSize: 12
            elide: Text.ElideRight
        }
        Item { Layout.fillHeight: true }
        VelmoraButton {
            objectName: "reviewButton"
            small: true
            symbol: "arrow.right.circle.fill"
            text: "Revisar"
            accent: card.accent
            enabled: card.reviewEnabled
            onClicked: card.review()
        }
    }
}
