pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// One application: its icon, name, version and identifier (or path), total
// size with the number of related files. The related files unfold below the
// row, so the user can see every one that will go with the application, what
// matched it, and those that stay because they may be another's.
ResultRowFrame {
    id: row

    required property string itemId
    required property string name
    required property string version
    required property string detail
    required property string totalSizeText
    // Each related entry: url, matchedBy ("identifier" or "name"), kept, keptBecause.
    required property var relatedDetails
    required property int relatedCount
    required property url iconUrl
    required property string installedFolder
    property bool expanded: false
    signal expandToggled

    readonly property string home: AppPaths.homeFolder

    // Paths in the home are shown from "~", as the user knows them.
    function shortPath(path: string): string {
        return path.startsWith(home + "/") ? "~" + path.substring(home.length) : path;
    }

    implicitHeight: lineHeight + (expanded && relatedCount > 0 ? relatedColumn.implicitHeight + 10 : 0)
    lineHeight: 64
    highlight: Qt.rgba(255 / 255, 159 / 255, 10 / 255, 0.10)
    title: row.name
    titleLine.objectName: "nameLine"
    titleLine.font.pixelSize: 14
    titleLine.font.weight: Font.DemiBold
    titleLine.elide: Text.ElideRight
    titleSpacing: 8
    subtitle: "Versión " + row.version
    subtitleLine.objectName: "versionLine"
    subtitleLine.font.pixelSize: 12
    subtitleLine.elide: Text.ElideRight
    badgeVisible: row.installedFolder !== ""

    icon: Item {
        Layout.preferredWidth: 44
        Layout.preferredHeight: 44
        Image {
            objectName: "applicationIcon"
            anchors.fill: parent
            source: row.iconUrl
            sourceSize: Qt.size(88, 88)
            fillMode: Image.PreserveAspectFit
            asynchronous: true
            smooth: true
            mipmap: true
            visible: status === Image.Ready
        }
    }
    // Installed twice: each row says which copy it is.
    badge: Badge {
        objectName: "installedFolderBadge"
        text: "En " + row.installedFolder
        tint: VelmoraTheme.cyan
    }
    lines: Text {
        objectName: "detailLine"
        Layout.fillWidth: true
        text: row.detail
        color: VelmoraTheme.mutedText
        font.pixelSize: 11
        elide: Text.ElideMiddle
        maximumLineCount: 1
        textFormat: Text.PlainText
    }
    afterSize: ColumnLayout {
        spacing: 2
        Text {
            objectName: "sizeLine"
            Layout.alignment: Qt.AlignRight
            text: row.totalSizeText
            color: "white"
            font.pixelSize: 14
            font.weight: Font.DemiBold
        }
        // The count doubles as the way to see the files it counts.
        Disclosure {
            objectName: "relatedLine"
            Layout.alignment: Qt.AlignRight
            text: row.relatedCount + " archivo(s) relacionados"
            enabled: row.relatedCount > 0
            expanded: row.expanded
            onClicked: row.expandToggled()
        }
    }

    Column {
        id: relatedColumn
        objectName: "relatedFiles"
        visible: row.expanded && row.relatedCount > 0
        anchors.top: parent.top
        anchors.topMargin: row.lineHeight
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.leftMargin: 8 + 18 + 12 + 44 + 12
        anchors.rightMargin: 24
        spacing: 3
        Repeater {
            model: row.expanded ? [false, true] : []
            delegate: Column {
                id: section
                required property bool modelData
                readonly property bool keptSection: modelData
                readonly property var entries: row.relatedDetails.filter(d => d.kept === section.keptSection)
                visible: entries.length > 0
                width: relatedColumn.width
                spacing: 3
                Text {
                    objectName: section.keptSection ? "keptHeader" : "movingHeader"
                    width: parent.width
                    topPadding: section.keptSection ? 4 : 0
                    text: section.keptSection ? "Se quedarán en su lugar:"
                                              : "Se moverán a la Papelera junto con la aplicación:"
                    color: VelmoraTheme.secondaryText
                    font.pixelSize: 11
                    font.weight: Font.DemiBold
                }
                Repeater {
                    model: section.entries
                    delegate: Column {
                        id: entry
                        required property var modelData
                        objectName: "relatedEntry"
                        width: section.width
                        RowLayout {
                            width: parent.width
                            spacing: 8
                            Text {
                                objectName: "relatedPath"
                                Layout.fillWidth: true
                                text: row.shortPath(entry.modelData.url)
                                color: VelmoraTheme.secondaryText
                                font.pixelSize: 11
                                elide: Text.ElideMiddle
                                textFormat: Text.PlainText
                            }
                            Text {
                                objectName: "matchedBy"
                                text: entry.modelData.matchedBy === "identifier"
                                      ? "por identificador" : "por nombre"
                                color: VelmoraTheme.mutedText
                                font.pixelSize: 10
                            }
                        }
                        Text {
                            objectName: "keptReason"
                            visible: entry.modelData.kept
                            width: parent.width
                            leftPadding: 10
                            text: entry.modelData.keptBecause
                            color: VelmoraTheme.warning
                            font.pixelSize: 10
                            elide: Text.ElideRight
                            textFormat: Text.PlainText
                        }
                    }
                }
            }
        }
    }
}
