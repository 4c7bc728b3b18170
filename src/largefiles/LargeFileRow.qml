import QtQuick
import QtQuick.Layouts
import Velmora

// One large file: its icon, name over folder, and size.
ResultRowFrame {
    id: row

    required property int index
    required property string itemId
    required property string name
    required property string path
    required sizeText

    implicitHeight: 50
    highlight: Qt.rgba(14 / 255, 165 / 255, 233 / 255, 0.10)
    title: row.name
    subtitle: row.path

    icon: Symbol {
        Layout.preferredWidth: 24
        name: "doc.fill"
        size: 20
        color: VelmoraTheme.blue
    }
}
