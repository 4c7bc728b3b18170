import QtQuick
import QtQuick.Shapes
import Velmora

// The module screens' background: window colour at the top-leading corner to a
// slightly lighter blue (or the screen's own colour) at the bottom-trailing one.
Shape {
    id: background

    property color endColor: VelmoraTheme.screenGradientEnd

    ShapePath {
        strokeWidth: 0
        strokeColor: "transparent"
        fillGradient: LinearGradient {
            x1: 0; y1: 0
            x2: background.width; y2: background.height
            GradientStop { position: 0; color: VelmoraTheme.windowBackground }
            GradientStop { position: 1; color: background.endColor }
        }
        startX: 0; startY: 0
        PathLine { x: background.width; y: 0 }
        PathLine { x: background.width; y: background.height }
        PathLine { x: 0; y: background.height }
        PathLine { x: 0; y: 0 }
    }
}
