import QtQuick
import Velmora

// A ring filled clockwise from the top to the given share, violet to cyan, over a
// faint full track.
Canvas {
    id: ring

    property real share: 0
    property real lineWidth: 7

    onShareChanged: requestPaint()
    onWidthChanged: requestPaint()
    onHeightChanged: requestPaint()

    onPaint: {
        const ctx = getContext("2d");
        ctx.reset();
        const r = Math.min(width, height) / 2 - lineWidth / 2;
        const cx = width / 2, cy = height / 2;
        ctx.lineWidth = lineWidth;
        ctx.lineCap = "round";
        ctx.strokeStyle = Qt.rgba(1, 1, 1, 0.1);
        ctx.beginPath();
        ctx.arc(cx, cy, r, 0, 2 * Math.PI);
        ctx.stroke();
        const s = Math.max(0, Math.min(1, share));
        if (s <= 0)
            return;
        const g = ctx.createLinearGradient(0, 0, width, height);
        g.addColorStop(0, VelmoraTheme.violet);
        g.addColorStop(1, VelmoraTheme.cyan);
        ctx.strokeStyle = g;
        ctx.beginPath();
        ctx.arc(cx, cy, r, -Math.PI / 2, -Math.PI / 2 + 2 * Math.PI * s);
        ctx.stroke();
    }
}
