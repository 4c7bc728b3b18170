pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Velmora

// A screen's row of equal summary cards, one per entry of `cards`:
// { name, title, symbol, accent, value }.
RowLayout {
    id: row

    property var cards: []
    property bool compact: false

    Layout.fillWidth: true
    spacing: 12

    Repeater {
        model: row.cards
        SummaryCard {
            required property var modelData
            objectName: modelData.name
            Layout.fillWidth: true
            Layout.preferredWidth: 1
            Layout.minimumWidth: implicitWidth
            compact: row.compact
            title: modelData.title
            symbol: modelData.symbol
            accent: modelData.accent
            value: modelData.value
        }
    }
}
