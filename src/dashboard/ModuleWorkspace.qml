import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// An open module: a toolbar with the way back, then the module's screen.
Item {
    id: workspace

    property string module
    property string backTitle: "Panel principal"
    // Each module's screen, keyed by raw value; a module without one shows only
    // the toolbar.
    property var screens: ({})
    signal back
    signal analysisCompleted(string module)

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        Item {
            Layout.fillWidth: true
            Layout.preferredHeight: 54

            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: 18
                anchors.rightMargin: 18
                spacing: 12

                VelmoraButton {
                    objectName: "backButton"
                    small: true
                    symbol: "chevron.left"
                    text: workspace.backTitle
                    onClicked: workspace.back()
                }
                Rectangle {
                    Layout.preferredWidth: 1
                    Layout.preferredHeight: 20
                    color: VelmoraTheme.border
                }
                Symbol {
                    name: VelmoraModule.symbol(workspace.module)
                    size: 19
                    color: VelmoraModule.accent(workspace.module)
                }
                Text {
                    objectName: "workspaceTitle"
                    text: VelmoraModule.title(workspace.module)
                    color: "white"
                    font.pixelSize: 15
                    font.bold: true
                }
                Item { Layout.fillWidth: true }
            }
            Rectangle {
                anchors.bottom: parent.bottom
                width: parent.width
                height: 1
                color: VelmoraTheme.border
            }
        }

        Loader {
            id: screenLoader
            objectName: "moduleScreen"
            Layout.fillWidth: true
            Layout.fillHeight: true
            // A new screen, and with it a new scanner, each time a module opens.
            sourceComponent: workspace.screens[workspace.module] || null
        }
    }

    Connections {
        target: screenLoader.item
        ignoreUnknownSignals: true
        function onAnalysisCompleted() { workspace.analysisCompleted(workspace.module) }
    }
}
