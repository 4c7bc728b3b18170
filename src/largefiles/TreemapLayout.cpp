#include "TreemapLayout.h"

#include <algorithm>
#include <limits>

namespace TreemapLayout {

namespace {

// The worst aspect ratio of a row of rectangles laid along a side whose square is
// `side2`, from the row's total area and its smallest and largest areas alone: the
// row's thickness is sum / side, so its extremes are its smallest and largest items.
// Keeping these three running keeps the layout linear.
double rowWorst(double sum, double smallest, double largest, double side2)
{
    const double sum2 = sum * sum;
    return std::max(side2 * largest / sum2, sum2 / (side2 * smallest));
}

} // namespace

std::vector<QRectF> squarify(const std::vector<qint64> &sizes, const QRectF &area)
{
    std::vector<QRectF> rects(sizes.size(), QRectF(area.topLeft(), QSizeF(0, 0)));
    // Also false for NaN extents, which would otherwise loop through nonsense.
    if (!(area.width() > 0 && area.height() > 0))
        return rects;
    // A few sizes near the top of qint64 overflow an integer sum.
    long double total = 0;
    std::size_t last = 0;
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        if (sizes[i] > 0) {
            total += sizes[i];
            last = i;
        }
    }
    if (total == 0)
        return rects;
    const double scale = double((long double)area.width() * area.height() / total);

    // The part not laid out yet, as edges: the far edges stay the area's own, so
    // the rows that reach them end exactly there instead of a rounding error short.
    double left = area.left(), top = area.top();
    const double right = area.right(), bottom = area.bottom();
    std::size_t begin = 0;
    while (begin <= last) {
        // A wide remainder takes a column at its left, a tall one a row at its
        // top: the row runs along the shorter side, so its items can be squarish.
        const bool column = right - left >= bottom - top;
        const double side = column ? bottom - top : right - left;
        const double side2 = side * side;
        double sum = 0, smallest = std::numeric_limits<double>::infinity(), largest = 0;
        double worst = std::numeric_limits<double>::infinity();
        std::size_t end = begin, lastInRow = begin;
        for (; end <= last; ++end) {
            if (sizes[end] <= 0)
                continue;
            const double a = double(sizes[end]) * scale;
            const double grown =
                rowWorst(sum + a, std::min(smallest, a), std::max(largest, a), side2);
            if (grown > worst)
                break;
            sum += a;
            smallest = std::min(smallest, a);
            largest = std::max(largest, a);
            worst = grown;
            lastInRow = end;
        }

        const double start = column ? left : top;
        const double across = end > last ? (column ? right : bottom) : start + sum / side;
        const double alongStart = column ? top : left;
        const double alongEnd = column ? bottom : right;
        double from = alongStart, done = 0;
        for (std::size_t i = begin; i <= lastInRow; ++i) {
            if (sizes[i] <= 0)
                continue;
            done += double(sizes[i]) * scale;
            const double to = i == lastInRow ? alongEnd : alongStart + side * (done / sum);
            rects[i] = column ? QRectF(start, from, across - start, to - from)
                              : QRectF(from, start, to - from, across - start);
            from = to;
        }
        (column ? left : top) = across;
        begin = end;
    }
    return rects;
}

double worstAspectRatio(const std::vector<QRectF> &rects)
{
    double worst = 1;
    for (const QRectF &r : rects) {
        if (r.isEmpty())
            continue;
        worst = std::max({worst, r.width() / r.height(), r.height() / r.width()});
    }
    return worst;
}

} // namespace TreemapLayout
