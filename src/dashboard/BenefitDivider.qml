import QtQuick
import QtQuick.Layouts

// The thin separator between two highlights.
Rectangle {
    Layout.preferredWidth: 1
    Layout.preferredHeight: 30
    color: Qt.rgba(1, 1, 1, 0.1)
}
