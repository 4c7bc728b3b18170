import QtQuick
import QtQuick.Layouts
import Velmora

// One file of a group: its icon, name with the "CONSERVAR" badge on the kept
// file (whose box cannot be ticked), folder and size.
ResultRowFrame {
    id: row

    required property string itemId
    required property string name
    required property string path
    required sizeText
    required property bool isKeeper

    implicitHeight: 46
    highlight: Qt.rgba(139 / 255, 92 / 255, 246 / 255, 0.12)
    checkable: !row.isKeeper
    accessibleState: row.isKeeper ? "se conserva" : ""
    title: row.name
    titleMaximumWidth: 420
    subtitle: row.path
    badgeVisible: row.isKeeper

    icon: Symbol {
        objectName: "rowIcon"
        Layout.preferredWidth: 24
        name: row.isKeeper ? "checkmark.shield.fill" : "doc.on.doc.fill"
        size: 20
        color: row.isKeeper ? VelmoraTheme.success : VelmoraTheme.violet
    }
    badge: Badge {
        objectName: "keeperBadge"
        text: "CONSERVAR"
        tint: VelmoraTheme.success
    }
}
