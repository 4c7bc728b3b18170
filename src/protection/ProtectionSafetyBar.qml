import QtQuick
import QtQuick.Layouts
import Velmora

// What the protection screen shows under its results while nothing is chosen.
Card {
    objectName: "safetyBar"
    implicitHeight: 60
    radius: 16
    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 18
        anchors.rightMargin: 18
        spacing: 12
        Symbol {
            name: "lock.shield.fill"
            size: 22
            color: VelmoraTheme.success
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 1
            Text {
                text: "Análisis preventivo"
                color: "white"
                font.pixelSize: 14
                font.bold: true
            }
            Text {
                Layout.fillWidth: true
                text: "Los peligrosos y sospechosos se seleccionan automáticamente. Revisa antes de moverlos."
                color: VelmoraTheme.secondaryText
                font.pixelSize: 11
                elide: Text.ElideRight
            }
        }
    }
}
