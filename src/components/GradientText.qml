pragma ComponentBehavior: Bound
import QtQuick
import Velmora

// Text filled with a horizontal gradient from `startColor` to `endColor`: the
// text is drawn in narrow clipped bands, each in the colour of its place.
Item {
    id: gradientText

    property string text
    property color startColor: VelmoraTheme.primaryGradientStart
    property color endColor: VelmoraTheme.primaryGradientEnd
    property alias font: measure.font
    readonly property int bands: 24

    implicitWidth: measure.implicitWidth
    implicitHeight: measure.implicitHeight

    Text {
        id: measure
        visible: false
        text: gradientText.text
        textFormat: Text.PlainText
    }

    Repeater {
        model: gradientText.bands
        delegate: Item {
            required property int index
            readonly property real bandWidth: Math.ceil(gradientText.width / gradientText.bands)
            x: index * bandWidth
            width: bandWidth
            height: gradientText.height
            clip: true
            Text {
                x: -parent.x
                text: gradientText.text
                textFormat: Text.PlainText
                font: measure.font
                color: Qt.rgba(
                    gradientText.startColor.r + (gradientText.endColor.r - gradientText.startColor.r) * parent.index / (gradientText.bands - 1),
                    gradientText.startColor.g + (gradientText.endColor.g - gradientText.startColor.g) * parent.index / (gradientText.bands - 1),
                    gradientText.startColor.b + (gradientText.endColor.b - gradientText.startColor.b) * parent.index / (gradientText.bands - 1),
                    1)
            }
        }
    }
}
