#pragma once

#include <QColor>
#include <QImage>
#include <QString>

// How a demo application's icon looks: a rounded square filled with a vertical
// gradient and one white mark, either a letter or a simple drawing.
struct IconStyle
{
    enum class Mark
    {
        Letter,
        Compass,
        Waves,
        Sun,
        Bars,
        Keys,
        Orbit,
        Pin,
        Envelope
    };

    QColor top;
    QColor bottom;
    Mark mark = Mark::Letter;
    QString letter; // used by Mark::Letter: one of D F G L N Q S T U
};

namespace IconPainter {

// A square, transparent-cornered icon of side pixels, in the Mac icon grid
// (the tile leaves a margin so the shadow fits, as the system icons do).
QImage draw(const IconStyle &style, int side);

} // namespace IconPainter
