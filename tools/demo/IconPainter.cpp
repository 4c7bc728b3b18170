#include "IconPainter.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QtMath>

namespace {

// Every mark is drawn in a 100 × 100 box centred on the tile, then scaled.
constexpr qreal kBox = 100.0;

QPen markPen(qreal width)
{
    return QPen(Qt::white, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
}

// Letters are drawn as strokes rather than set in a font: the icons then look
// the same on every machine, and the generator needs no font system (which
// would want a GUI application, and that one writes outside the tree).
QPainterPath letterPath(QChar letter)
{
    QPainterPath p;
    switch (letter.unicode()) {
    case 'D':
        p.moveTo(32, 22);
        p.lineTo(32, 78);
        p.lineTo(44, 78);
        p.arcTo(QRectF(16, 22, 56, 56), 270, 180);
        p.closeSubpath();
        break;
    case 'F':
        p.moveTo(68, 24);
        p.lineTo(36, 24);
        p.lineTo(36, 78);
        p.moveTo(36, 50);
        p.lineTo(62, 50);
        break;
    case 'G':
        p.arcMoveTo(QRectF(23, 23, 54, 54), 40);
        p.arcTo(QRectF(23, 23, 54, 54), 40, 320);
        p.moveTo(54, 50);
        p.lineTo(77, 50);
        break;
    case 'L':
        p.moveTo(34, 22);
        p.lineTo(34, 78);
        p.lineTo(70, 78);
        break;
    case 'N':
        p.moveTo(30, 78);
        p.lineTo(30, 22);
        p.lineTo(70, 78);
        p.lineTo(70, 22);
        break;
    case 'Q':
        p.addEllipse(QPointF(50, 47), 27, 27);
        p.moveTo(58, 62);
        p.lineTo(78, 82);
        break;
    case 'S':
        p.arcMoveTo(QRectF(31, 21, 38, 29), 25);
        p.arcTo(QRectF(31, 21, 38, 29), 25, 245);
        p.arcTo(QRectF(31, 50, 38, 29), 90, -245);
        break;
    case 'T':
        p.moveTo(26, 24);
        p.lineTo(74, 24);
        p.moveTo(50, 24);
        p.lineTo(50, 78);
        break;
    case 'U':
        p.moveTo(30, 22);
        p.lineTo(30, 56);
        p.arcTo(QRectF(30, 36, 40, 42), 180, 180);
        p.lineTo(70, 22);
        break;
    default: // a letter without a drawing gets a dot, not nothing
        p.addEllipse(QPointF(50, 50), 6, 6);
        break;
    }
    return p;
}

void drawLetter(QPainter &p, const QString &letter)
{
    p.setPen(markPen(11));
    p.setBrush(Qt::NoBrush);
    p.drawPath(letterPath(letter.isEmpty() ? QChar() : letter.at(0).toUpper()));
}

void drawCompass(QPainter &p)
{
    p.setPen(markPen(5));
    p.drawEllipse(QPointF(50, 50), 34, 34);
    QPainterPath north;
    north.moveTo(50 + 8, 50 + 8);
    north.lineTo(72, 28);
    north.lineTo(50 - 8, 50 - 8);
    north.closeSubpath();
    p.fillPath(north, QColor(255, 90, 90));
    QPainterPath south;
    south.moveTo(50 + 8, 50 + 8);
    south.lineTo(28, 72);
    south.lineTo(50 - 8, 50 - 8);
    south.closeSubpath();
    p.fillPath(south, Qt::white);
}

void drawWaves(QPainter &p)
{
    p.setPen(markPen(6));
    for (int row = 0; row < 3; ++row) {
        QPainterPath wave;
        const qreal y = 32 + row * 18;
        wave.moveTo(18, y);
        for (int x = 18; x <= 82; x += 2)
            wave.lineTo(x, y + 6 * qSin((x - 18) * M_PI / 16.0));
        p.drawPath(wave);
    }
}

void drawSun(QPainter &p)
{
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    p.drawEllipse(QPointF(50, 50), 17, 17);
    p.setPen(markPen(6));
    for (int ray = 0; ray < 8; ++ray) {
        const qreal a = ray * M_PI / 4;
        p.drawLine(QPointF(50 + 26 * qCos(a), 50 + 26 * qSin(a)),
                   QPointF(50 + 36 * qCos(a), 50 + 36 * qSin(a)));
    }
}

void drawBars(QPainter &p)
{
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    const qreal heights[] = {30, 56, 42, 66, 24};
    for (int i = 0; i < 5; ++i) {
        const qreal h = heights[i];
        p.drawRoundedRect(QRectF(20 + i * 13, 50 + 33 - h, 8, h), 4, 4);
    }
}

void drawKeys(QPainter &p)
{
    p.setPen(markPen(5));
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(QRectF(18, 28, 64, 44), 5, 5);
    for (int x : {34, 50, 66})
        p.drawLine(QPointF(x, 30), QPointF(x, 70));
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    for (int x : {34, 50, 66})
        p.drawRoundedRect(QRectF(x - 5, 28, 10, 24), 2, 2);
}

void drawOrbit(QPainter &p)
{
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    p.drawEllipse(QPointF(50, 50), 13, 13);
    p.setBrush(Qt::NoBrush);
    p.setPen(markPen(5));
    p.save();
    p.translate(50, 50);
    p.rotate(-25);
    p.drawEllipse(QPointF(0, 0), 36, 15);
    p.restore();
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    p.drawEllipse(QPointF(80, 38), 6, 6);
}

void drawPin(QPainter &p)
{
    QPainterPath pin;
    pin.moveTo(50, 86);
    pin.cubicTo(36, 66, 24, 56, 24, 40);
    pin.arcTo(QRectF(24, 14, 52, 52), 180, -180);
    pin.cubicTo(76, 56, 64, 66, 50, 86);
    QPainterPath hole;
    hole.addEllipse(QPointF(50, 40), 10, 10);
    p.fillPath(pin.subtracted(hole), Qt::white);
}

void drawEnvelope(QPainter &p)
{
    p.setPen(markPen(5));
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(QRectF(16, 28, 68, 46), 6, 6);
    p.drawPolyline(QPolygonF({QPointF(18, 31), QPointF(50, 56), QPointF(82, 31)}));
}

void drawMark(QPainter &p, const IconStyle &style)
{
    switch (style.mark) {
    case IconStyle::Mark::Letter:
        return drawLetter(p, style.letter);
    case IconStyle::Mark::Compass:
        return drawCompass(p);
    case IconStyle::Mark::Waves:
        return drawWaves(p);
    case IconStyle::Mark::Sun:
        return drawSun(p);
    case IconStyle::Mark::Bars:
        return drawBars(p);
    case IconStyle::Mark::Keys:
        return drawKeys(p);
    case IconStyle::Mark::Orbit:
        return drawOrbit(p);
    case IconStyle::Mark::Pin:
        return drawPin(p);
    case IconStyle::Mark::Envelope:
        return drawEnvelope(p);
    }
}

void drawTile(QPainter &p, const QRectF &tile, const IconStyle &style)
{
    const qreal radius = tile.width() * 0.225;
    // A soft shadow below the tile: a few widening, fading outlines.
    p.setPen(Qt::NoPen);
    for (int i = 4; i >= 1; --i) {
        p.setBrush(QColor(0, 0, 0, 14));
        p.drawRoundedRect(tile.adjusted(-i, -i + 3, i, i + 3), radius + i, radius + i);
    }
    QLinearGradient fill(tile.topLeft(), tile.bottomLeft());
    fill.setColorAt(0, style.top);
    fill.setColorAt(1, style.bottom);
    p.setBrush(fill);
    p.drawRoundedRect(tile, radius, radius);
    // A faint highlight on the upper half gives the tile some depth.
    QLinearGradient gloss(tile.topLeft(), tile.center());
    gloss.setColorAt(0, QColor(255, 255, 255, 70));
    gloss.setColorAt(1, QColor(255, 255, 255, 0));
    p.setBrush(gloss);
    p.drawRoundedRect(tile, radius, radius);
}

} // namespace

namespace IconPainter {

QImage draw(const IconStyle &style, int side)
{
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const qreal margin = side * 0.1;
    const QRectF tile(margin, margin, side - 2 * margin, side - 2 * margin);
    drawTile(p, tile, style);
    const qreal scale = tile.width() * 0.62 / kBox;
    p.translate(tile.center());
    p.scale(scale, scale);
    p.translate(-kBox / 2, -kBox / 2);
    drawMark(p, style);
    return image;
}

} // namespace IconPainter
