#include "TreemapLayout.h"

#include <QRandomGenerator>
#include <QtTest>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

using Sizes = std::vector<qint64>;
using namespace TreemapLayout;

namespace {

// `count` sizes, largest first: file sizes spread over six decades, or all within
// a tenth of each other (the rows of a folder of similar files).
Sizes randomSizes(int count, quint32 seed, bool decades)
{
    QRandomGenerator random(seed);
    Sizes sizes(count);
    for (qint64 &size : sizes)
        size = decades ? qint64(std::pow(10.0, 6 * random.generateDouble())) + 1
                       : random.bounded(900000, 1000000);
    std::sort(sizes.rbegin(), sizes.rend());
    return sizes;
}

} // namespace

class TestTreemapLayout : public QObject
{
    Q_OBJECT

private slots:
    void tiles_data()
    {
        QTest::addColumn<Sizes>("sizes");
        QTest::addColumn<QRectF>("area");
        const QRectF area(12.5, 40.25, 1000, 600);
        const qint64 top = std::numeric_limits<qint64>::max();
        QTest::newRow("one item") << Sizes{42} << area;
        QTest::newRow("zero and negative sizes")
            << Sizes{6, 0, 6, -3, 4, 0, 3, 2, 2, 1, -7, 0} << QRectF(0, 0, 6, 4);
        QTest::newRow("equal sizes") << Sizes(10, 7) << area;
        QTest::newRow("sizes near the top of qint64") << Sizes{top, top, top / 2, 1} << area;
        QTest::newRow("a few giants and specks") << Sizes{qint64(1e12), qint64(1e12), 3, 1} << area;
        QTest::newRow("decades, tall") << randomSizes(400, 1, true) << QRectF(0, 0, 150, 900);
        QTest::newRow("similar, wide") << randomSizes(400, 2, false) << area;
        QTest::newRow("a million") << randomSizes(1000000, 3, true) << QRectF(0, 0, 1920, 1080);
        QTest::newRow("nothing") << Sizes{} << area;
        QTest::newRow("all zero") << Sizes{0, 0, -1} << area;
        QTest::newRow("no width") << Sizes{3, 2} << QRectF(5, 5, 0, 100);
        QTest::newRow("no height") << Sizes{3, 2} << QRectF(5, 5, 100, 0);
    }
    void tiles()
    {
        QFETCH(Sizes, sizes);
        QFETCH(QRectF, area);
        const std::vector<QRectF> rects = squarify(sizes, area);
        QCOMPARE(rects.size(), sizes.size());
        double total = 0;
        for (qint64 size : sizes)
            total += std::max<qint64>(size, 0);
        const double whole = area.width() * area.height();
        const bool laidOut = total > 0 && whole > 0;
        // Rounding in the running sums moves an edge by about 1e-12 px on these areas.
        // Allowing each edge a millionth of a pixel bounds an area's error by that times
        // its half perimeter: far above rounding, far below an edge that misses an item.
        const double eps = 1e-6;
        double covered = 0, right = area.left(), bottom = area.top();
        for (std::size_t i = 0; i < rects.size(); ++i) {
            const QRectF &r = rects[i];
            if (!laidOut || sizes[i] <= 0) {
                QVERIFY2(r.width() == 0 && r.height() == 0, qPrintable(QString::number(i)));
                continue;
            }
            QVERIFY(r.left() >= area.left() - eps && r.top() >= area.top() - eps);
            QVERIFY(r.right() <= area.right() + eps && r.bottom() <= area.bottom() + eps);
            const double expected = double(sizes[i]) / total * whole;
            QVERIFY2(std::abs(r.width() * r.height() - expected) <= eps * (r.width() + r.height()),
                     qPrintable(QString::number(i)));
            covered += r.width() * r.height();
            right = std::max(right, r.right());
            bottom = std::max(bottom, r.bottom());
        }
        if (!laidOut)
            return;
        QVERIFY(std::abs(covered - whole) <= 1e-9 * whole);
        // A view paints the far edges: a rounding gap there shows as a hairline.
        QCOMPARE_EQ(right, area.right());
        QCOMPARE_EQ(bottom, area.bottom());
        QCOMPARE(squarify(sizes, area), rects);
        // Rows are laid in order, each in what the earlier ones left, so every later
        // rectangle lies right of or below each earlier one, and none overlap.
        for (std::size_t i = 0; sizes.size() <= 1000 && i < rects.size(); ++i)
            for (std::size_t j = i + 1; j < rects.size(); ++j)
                QVERIFY2(sizes[i] <= 0 || sizes[j] <= 0 ||
                             rects[j].left() >= rects[i].right() - eps ||
                             rects[j].top() >= rects[i].bottom() - eps,
                         qPrintable(QString("%1 before %2").arg(j).arg(i)));
    }

    // Bruls, Huizing and van Wijk's example: rows {6, 6}, {4, 3}, {2}, {2}, {1}; the
    // 1 ends up 0.6 by 5/3. Slicing the same 6x4 into strips makes it 0.25 by 4, 16:1.
    void paperExample()
    {
        const double worst = worstAspectRatio(squarify({6, 6, 4, 3, 2, 2, 1}, QRectF(0, 0, 6, 4)));
        QCOMPARE(worst, 25.0 / 9);
        QVERIFY(worst < 16.0 / 4);
    }

    void aspectRatios_data()
    {
        QTest::addColumn<Sizes>("sizes");
        QTest::addColumn<QRectF>("area");
        QTest::newRow("decades, square") << randomSizes(500, 4, true) << QRectF(0, 0, 800, 800);
        QTest::newRow("decades, wide") << randomSizes(500, 5, true) << QRectF(0, 0, 1600, 900);
        QTest::newRow("decades, tall") << randomSizes(500, 6, true) << QRectF(0, 0, 200, 1200);
        QTest::newRow("similar, wide") << randomSizes(500, 7, false) << QRectF(0, 0, 1600, 900);
        QTest::newRow("similar, tall") << randomSizes(500, 8, false) << QRectF(0, 0, 200, 1200);
    }
    // Items of a thousandth of the total or more come out close to square (1.4:1 at
    // worst on these); the specks in the last rows are left out, as the last row
    // takes whatever strip remains.
    void aspectRatios()
    {
        QFETCH(Sizes, sizes);
        QFETCH(QRectF, area);
        const std::vector<QRectF> rects = squarify(sizes, area);
        const double total = std::accumulate(sizes.begin(), sizes.end(), 0.0);
        std::vector<QRectF> visible;
        for (std::size_t i = 0; i < sizes.size(); ++i)
            if (sizes[i] >= total / 1000)
                visible.push_back(rects[i]);
        QCOMPARE_LE(worstAspectRatio(visible), 3.0);
    }
};

QTEST_APPLESS_MAIN(TestTreemapLayout)
#include "tst_treemaplayout.moc"
