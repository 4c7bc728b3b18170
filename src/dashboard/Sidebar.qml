pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Velmora
import Velmora.Core

// The dashboard's sidebar: logo, the overview and the five modules, the disk card
// and the footer.
Rectangle {
    id: sidebar

    property string selectedModule
    required property DiskStatus disk
    signal showDashboard
    signal openModule(string module)

    implicitWidth: 235
    color: Qt.rgba(1, 1, 1, 0.025)

    Rectangle {
        anchors.right: parent.right
        width: 1
        height: parent.height
        color: Qt.rgba(1, 1, 1, 0.06)
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.leftMargin: 5
        anchors.rightMargin: 5
        anchors.bottomMargin: 16
        spacing: 4

        VelmoraLogo {
            objectName: "VelmoraLogoApp"
            Layout.preferredWidth: 225
            Layout.preferredHeight: 130
            Layout.alignment: Qt.AlignHCenter
        }
        Text {
            Layout.fillWidth: true
            Layout.bottomMargin: 10
            horizontalAlignment: Text.AlignHCenter
            text: "Velmora Smart Mac Care"
            color: "white"
            font.pixelSize: 15
            font.bold: true
        }
        Rectangle {
            Layout.fillWidth: true
            Layout.leftMargin: 10
            Layout.rightMargin: 10
            Layout.bottomMargin: 8
            height: 1
            color: Qt.rgba(1, 1, 1, 0.08)
        }
        SidebarButton {
            objectName: "sidebar_dashboard"
            Layout.fillWidth: true
            Layout.leftMargin: 3
            Layout.rightMargin: 3
            title: "Panel principal"
            symbol: "house.fill"
            selected: sidebar.selectedModule === ""
            onAction: sidebar.showDashboard()
        }
        Repeater {
            model: VelmoraModule.allCases
            delegate: SidebarButton {
                required property string modelData
                objectName: "sidebar_" + modelData
                Layout.fillWidth: true
                Layout.leftMargin: 3
                Layout.rightMargin: 3
                title: VelmoraModule.title(modelData)
                symbol: VelmoraModule.symbol(modelData)
                accent: VelmoraModule.accent(modelData)
                selected: sidebar.selectedModule === modelData
                onAction: sidebar.openModule(modelData)
            }
        }
        Item { Layout.fillHeight: true }
        DiskCard {
            Layout.fillWidth: true
            Layout.leftMargin: 7
            Layout.rightMargin: 7
            disk: sidebar.disk
        }
        Text {
            Layout.leftMargin: 14
            Layout.topMargin: 10
            text: "Velmora 2.1"
            color: VelmoraTheme.mutedText
            font.pixelSize: 11
        }
        RowLayout {
            Layout.leftMargin: 14
            spacing: 6
            Rectangle {
                width: 7
                height: 7
                radius: 3.5
                color: VelmoraTheme.success
            }
            Text {
                text: "Sistema listo"
                color: VelmoraTheme.secondaryText
                font.pixelSize: 11
            }
        }
    }
}
