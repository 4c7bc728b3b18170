import QtQuick
import QtQuick.Layouts
import Velmora

// A short message at the bottom of the window for something that did not happen
// and needs no decision: it fades out by itself after a few seconds.
Rectangle {
    id: notice

    property string text

    function show(message) {
        text = message;
        visible = true;
        hideTimer.restart();
    }

    visible: false
    z: 1000
    width: Math.min(row.implicitWidth + 36, parent ? parent.width - 56 : 600)
    height: 44
    radius: 12
    color: "#1B2A3D"
    border.color: Qt.rgba(VelmoraTheme.warning.r, VelmoraTheme.warning.g, VelmoraTheme.warning.b, 0.5)

    Timer {
        id: hideTimer
        interval: 6000
        onTriggered: notice.visible = false
    }

    RowLayout {
        id: row
        anchors.centerIn: parent
        width: parent.width - 36
        spacing: 10
        Symbol {
            name: "exclamationmark.triangle.fill"
            size: 17
            color: VelmoraTheme.warning
        }
        Text {
            objectName: "noticeText"
            Layout.fillWidth: true
            text: notice.text
            textFormat: Text.PlainText
            color: "white"
            font.pixelSize: 13
            elide: Text.ElideRight
        }
    }
    TapHandler { onTapped: notice.visible = false }
}
