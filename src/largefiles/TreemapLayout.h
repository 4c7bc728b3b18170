#pragma once

#include <QRectF>
#include <QtGlobal>
#include <vector>

// Lays out sizes as rectangles whose areas are proportional to them
// (squarified treemap: rows that keep rectangles as close to squares as the
// order allows).
namespace TreemapLayout {
// rects[i] belongs to sizes[i]; the caller gives sizes largest first. Sizes of
// zero or less get an empty rectangle (zero width and height) and take no room.
// The rectangles tile `area` without overlapping (up to floating-point rounding)
// when at least one size is positive. Linear in sizes.size().
std::vector<QRectF> squarify(const std::vector<qint64> &sizes, const QRectF &area);
// The worst (largest) aspect ratio, max(w/h, h/w), over the non-empty rectangles; 1 for none.
double worstAspectRatio(const std::vector<QRectF> &rects);
} // namespace TreemapLayout
