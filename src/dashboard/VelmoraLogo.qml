import QtQuick
import QtQuick.Shapes
import Velmora

// The Velmora mark: a rounded tile in the accent gradient carrying a "V" whose
// right stroke rises into a spark, the sign of a machine kept clean.
Item {
    id: logo

    implicitWidth: 225
    implicitHeight: 130

    readonly property real mark: Math.min(width, height) * 0.66

    Rectangle {
        // Soft halo behind the mark.
        anchors.centerIn: tile
        width: tile.width * 1.5
        height: width
        radius: width / 2
        color: "transparent"
        gradient: Gradient {
            GradientStop { position: 0; color: Qt.rgba(0.55, 0.36, 0.96, 0.0) }
            GradientStop { position: 0.5; color: Qt.rgba(0.35, 0.45, 0.96, 0.18) }
            GradientStop { position: 1; color: Qt.rgba(0.13, 0.83, 0.93, 0.0) }
        }
    }

    Shape {
        id: tile
        anchors.centerIn: parent
        width: logo.mark
        height: logo.mark

        readonly property real r: width * 0.26

        ShapePath {
            strokeWidth: 0
            strokeColor: "transparent"
            fillGradient: LinearGradient {
                x1: 0; y1: 0
                x2: tile.width; y2: tile.height
                GradientStop { position: 0; color: VelmoraTheme.violet }
                GradientStop { position: 1; color: VelmoraTheme.cyan }
            }
            startX: tile.r; startY: 0
            PathLine { x: tile.width - tile.r; y: 0 }
            PathArc { x: tile.width; y: tile.r; radiusX: tile.r; radiusY: tile.r }
            PathLine { x: tile.width; y: tile.height - tile.r }
            PathArc { x: tile.width - tile.r; y: tile.height; radiusX: tile.r; radiusY: tile.r }
            PathLine { x: tile.r; y: tile.height }
            PathArc { x: 0; y: tile.height - tile.r; radiusX: tile.r; radiusY: tile.r }
            PathLine { x: 0; y: tile.r }
            PathArc { x: tile.r; y: 0; radiusX: tile.r; radiusY: tile.r }
        }
        ShapePath {
            // The "V".
            strokeColor: "white"
            strokeWidth: tile.width * 0.095
            fillColor: "transparent"
            capStyle: ShapePath.RoundCap
            joinStyle: ShapePath.RoundJoin
            startX: tile.width * 0.25; startY: tile.height * 0.32
            PathLine { x: tile.width * 0.47; y: tile.height * 0.74 }
            PathLine { x: tile.width * 0.70; y: tile.height * 0.30 }
        }
        ShapePath {
            // The spark above the right stroke.
            id: spark
            strokeWidth: 0
            strokeColor: "transparent"
            fillColor: "white"
            readonly property real cx: tile.width * 0.76
            readonly property real cy: tile.height * 0.20
            readonly property real s: tile.width * 0.11
            startX: spark.cx; startY: spark.cy - spark.s
            PathQuad { x: spark.cx + spark.s; y: spark.cy; controlX: spark.cx; controlY: spark.cy }
            PathQuad { x: spark.cx; y: spark.cy + spark.s; controlX: spark.cx; controlY: spark.cy }
            PathQuad { x: spark.cx - spark.s; y: spark.cy; controlX: spark.cx; controlY: spark.cy }
            PathQuad { x: spark.cx; y: spark.cy - spark.s; controlX: spark.cx; controlY: spark.cy }
        }
    }
}
