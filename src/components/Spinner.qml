import QtQuick
import Velmora

// A small progress indicator: a turning arc.
Item {
    id: spinner

    property color color: VelmoraTheme.cyan
    property bool running: visible

    implicitWidth: 16
    implicitHeight: 16

    Canvas {
        id: arc
        anchors.fill: parent
        onPaint: {
            const ctx = getContext("2d");
            ctx.reset();
            ctx.lineWidth = 2;
            ctx.lineCap = "round";
            ctx.strokeStyle = spinner.color;
            ctx.beginPath();
            ctx.arc(width / 2, height / 2, width / 2 - 2, 0, Math.PI * 1.4);
            ctx.stroke();
        }
        RotationAnimator on rotation {
            from: 0
            to: 360
            duration: 900
            loops: Animation.Infinite
            running: spinner.running
        }
    }
}
