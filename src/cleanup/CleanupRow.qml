import QtQuick
import QtQuick.Layouts
import Velmora

// One cache entry: its icon, readable name beside the folder's own, file count
// and date, protection reason, a badge (protected, in use by an open
// application, or recommended) and size. A protected cache cannot be ticked.
ResultRowFrame {
    id: row

    required property string itemId
    required property string name
    required property string displayName
    required sizeText
    required property int itemCount
    required property string dateText
    required property bool isProtected
    required property string protectionReason
    property bool recommended: false
    // The open application that keeps this cache out of the smart selection.
    property string inUseBy: ""

    readonly property color orange: "#FF9F0A"

    implicitHeight: isProtected ? 70 : 56
    highlight: Qt.rgba(14 / 255, 165 / 255, 233 / 255, 0.10)
    highlightInset: 2
    checkable: !row.isProtected
    accessibleState: row.isProtected ? "protegida por macOS" : row.inUseBy !== "" ? "en uso"
                   : row.recommended ? "recomendada" : ""
    title: row.displayName
    titleLine.font.weight: Font.DemiBold
    titleLine.elide: Text.ElideNone
    titleLine.Layout.fillWidth: false // the folder's name elides instead
    badgeFills: true
    subtitle: row.itemCount + " archivo(s)"
              + (row.dateText !== "" ? "   Última actividad: " + row.dateText : "")
    subtitleLine.objectName: "rowDetail"
    subtitleLine.elide: Text.ElideRight
    beforeSizeVisible: row.isProtected || row.inUseBy !== "" || row.recommended

    icon: Symbol {
        objectName: "rowIcon"
        Layout.preferredWidth: 24
        name: row.isProtected ? "lock.shield.fill" : "shippingbox.fill"
        size: 20
        color: row.isProtected ? row.orange : VelmoraTheme.secondaryText
    }
    badge: Text {
        Layout.fillWidth: true
        text: row.name
        color: VelmoraTheme.secondaryText
        font.pixelSize: 11
        elide: Text.ElideMiddle
        textFormat: Text.PlainText
    }
    lines: Text {
        objectName: "rowReason"
        visible: row.protectionReason !== ""
        Layout.fillWidth: true
        text: row.protectionReason
        color: row.orange
        font.pixelSize: 11
        elide: Text.ElideRight
    }
    beforeSize: Badge {
        objectName: "rowBadge"
        text: row.isProtected ? "PROTEGIDA POR macOS" : row.inUseBy !== "" ? "EN USO" : "RECOMENDADA"
        tint: row.isProtected ? row.orange : row.inUseBy !== "" ? VelmoraTheme.cyan : VelmoraTheme.success
        help: !row.isProtected && row.inUseBy !== "" ? "En uso por " + row.inUseBy + ", que está abierta." : ""
    }
}
