#include "DiskMapView.h"

#include "FileLocation.h"
#include "Formatters.h"

#include <QFontMetricsF>
#include <QPainter>
#include <cmath>

namespace {

using Block = DiskMapLayout::Block;
using Kind = Block::Kind;

const QHash<QString, QColor> &defaultColors()
{
    static const QHash<QString, QColor> colors = {
        {QStringLiteral("folder"), QColor(14, 165, 233)},
        {QStringLiteral("package"), QColor(139, 92, 246)},
        {QStringLiteral("others"), QColor(120, 130, 145)},
        {QStringLiteral("selection"), QColor(34, 197, 94)},
        {QStringLiteral("focus"), QColor(34, 211, 238)},
        {QStringLiteral("text"), QColor(255, 255, 255)},
        {QStringLiteral("video"), QColor(239, 68, 68)},
        {QStringLiteral("audio"), QColor(236, 72, 153)},
        {QStringLiteral("image"), QColor(245, 158, 11)},
        {QStringLiteral("archive"), QColor(139, 92, 246)},
        {QStringLiteral("document"), QColor(34, 197, 94)},
        {QStringLiteral("code"), QColor(34, 211, 238)},
        {QStringLiteral("other"), QColor(100, 116, 139)},
    };
    return colors;
}

QColor colorOf(const QHash<QString, QColor> &colors, const QString &key)
{
    return colors.value(key, defaultColors().value(key));
}

QString nameOf(const Block &block)
{
    if (!block.node)
        return QStringLiteral("Otros");
    return FileLocation::decode(block.node->name);
}

// Colours are mixed with the card's dark background here, once, so that every
// block is an opaque fill: blending thousands of translucent rectangles is what
// made a large map slow to draw.
QColor mixed(QColor color, double alpha)
{
    const QColor ground = QColor(16, 22, 31);
    return QColor::fromRgbF(float(color.redF() * alpha + ground.redF() * (1 - alpha)),
                            float(color.greenF() * alpha + ground.greenF() * (1 - alpha)),
                            float(color.blueF() * alpha + ground.blueF() * (1 - alpha)));
}

// The fill of each kind of block, mixed once per drawing.
class Fills
{
public:
    explicit Fills(const QHash<QString, QColor> &colors) : m_colors(colors) {}

    QColor of(const Block &block)
    {
        switch (block.kind) {
        case Kind::folder:
            return block.depth == 0 ? mix(QStringLiteral("folder"), 0.22)
                                    : mix(QStringLiteral("folder+"), 0.38);
        case Kind::package:
            return mix(QStringLiteral("package"), 0.72);
        case Kind::others:
            return mix(QStringLiteral("others"), 0.72);
        case Kind::file:
            break;
        }
        return mix(DiskMapLayout::fileClass(block.node->name), 0.72);
    }

private:
    QColor mix(const QString &key, double alpha)
    {
        auto it = m_mixed.find(key);
        if (it == m_mixed.end())
            it = m_mixed.insert(
                key, mixed(colorOf(m_colors, key.endsWith(QLatin1Char('+')) ? key.chopped(1) : key),
                           alpha));
        return *it;
    }

    const QHash<QString, QColor> &m_colors;
    QHash<QString, QColor> m_mixed;
};

// A label where the block has room for one: its name, and its size below when
// there is room for that too (a folder with entries inside has a title band).
void label(QPainter &painter, const Block &block, const QFontMetricsF &metrics, bool nested)
{
    const QRectF room = block.rect.adjusted(5, 2, -4, -2);
    if (room.width() < 40 || room.height() < metrics.height())
        return;
    const QString size = Formatters::bytes(block.size);
    if (nested || room.height() < 2 * metrics.height()) {
        const QString text = nameOf(block) + QStringLiteral("  ") + size;
        painter.drawText(room, Qt::AlignLeft | Qt::AlignTop,
                         metrics.elidedText(text, Qt::ElideRight, room.width()));
        return;
    }
    painter.drawText(room, Qt::AlignLeft | Qt::AlignTop,
                     metrics.elidedText(nameOf(block), Qt::ElideRight, room.width()));
    painter.drawText(room.adjusted(0, metrics.height(), 0, 0), Qt::AlignLeft | Qt::AlignTop,
                     metrics.elidedText(size, Qt::ElideRight, room.width()));
}

} // namespace

DiskMapView::DiskMapView(QQuickItem *parent) : QQuickPaintedItem(parent)
{
    m_colors = defaultColors();
    setAcceptedMouseButtons(Qt::NoButton); // the screen's mouse area handles the mouse
    setOpaquePainting(false);
}

void DiskMapView::setScanner(DiskMapScanner *scanner)
{
    if (m_scanner == scanner)
        return;
    if (m_scanner)
        disconnect(m_scanner, nullptr, this, nullptr);
    m_scanner = scanner;
    if (m_scanner) {
        connect(m_scanner, &DiskMapScanner::mapChanged, this, &DiskMapView::relayout);
        // Its tree goes with it: no block may point into it any more.
        connect(m_scanner, &QObject::destroyed, this, [this] {
            m_scanner = nullptr;
            relayout();
        });
    }
    relayout();
    Q_EMIT scannerChanged();
}

void DiskMapView::setFiles(ResultModel *files)
{
    if (m_files == files)
        return;
    if (m_files)
        disconnect(m_files, nullptr, this, nullptr);
    m_files = files;
    if (m_files) {
        connect(m_files, &ResultModel::modelReset, this, &DiskMapView::relayout);
        connect(m_files, &ResultModel::selectionChanged, this, &DiskMapView::refreshSelection);
    }
    relayout();
    Q_EMIT filesChanged();
}

void DiskMapView::setColors(const QVariantMap &colors)
{
    if (m_colorNames == colors)
        return;
    m_colorNames = colors;
    m_colors = defaultColors();
    for (auto it = colors.cbegin(); it != colors.cend(); ++it)
        m_colors.insert(it.key(), it.value().value<QColor>());
    update();
    Q_EMIT colorsChanged();
}

void DiskMapView::setFocusedBlock(int index)
{
    index = index >= 0 && index < blockCount() ? index : -1;
    if (m_focused == index)
        return;
    m_focused = index;
    update();
    Q_EMIT focusedBlockChanged();
}

void DiskMapView::setHoveredBlock(int index)
{
    index = index >= 0 && index < blockCount() ? index : -1;
    if (m_hovered == index)
        return;
    m_hovered = index;
    update();
    Q_EMIT hoveredBlockChanged();
}

void DiskMapView::geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry)
{
    QQuickPaintedItem::geometryChange(newGeometry, oldGeometry);
    if (newGeometry.size() != oldGeometry.size())
        relayout();
}

void DiskMapView::relayout()
{
    const FolderTotals::Node *folder = m_scanner ? m_scanner->current() : nullptr;
    m_blocks = folder ? DiskMapLayout::blocks(*folder, QRectF(0, 0, width(), height()))
                      : std::vector<Block>();
    m_ids.assign(m_blocks.size(), QString());
    if (m_files && m_files->count() > 0)
        for (size_t i = 0; i < m_blocks.size(); ++i) {
            const Block &b = m_blocks[i];
            if (b.kind != Kind::file)
                continue;
            const QString path = blockPath(int(i));
            if (m_files->rowOf(path) >= 0)
                m_ids[i] = path;
        }
    // A new folder starts with its first block focused (when the map has the
    // focus); the same folder laid out again (a resize) keeps its focus.
    const bool sameFolder = folder && folder == m_shown;
    m_shown = folder;
    m_hovered = -1;
    if (m_blocks.empty())
        m_focused = -1;
    else if (!sameFolder || m_focused >= blockCount())
        m_focused = hasActiveFocus() ? 0 : -1;
    refreshSelection();
    Q_EMIT layoutChanged();
    Q_EMIT hoveredBlockChanged();
    Q_EMIT focusedBlockChanged();
}

void DiskMapView::refreshSelection()
{
    m_selected.assign(m_blocks.size(), 0);
    if (m_files)
        for (size_t i = 0; i < m_blocks.size(); ++i)
            m_selected[i] = !m_ids[i].isEmpty() && m_files->selection().contains(m_ids[i]);
    ++m_revision;
    Q_EMIT revisionChanged();
    update();
}

const Block *DiskMapView::block(int index) const
{
    return index >= 0 && index < blockCount() ? &m_blocks[size_t(index)] : nullptr;
}

int DiskMapView::blockAt(qreal x, qreal y) const
{
    // Nested blocks come after the block they lie in: the last hit is the innermost.
    for (int i = blockCount() - 1; i >= 0; --i)
        if (m_blocks[size_t(i)].rect.contains(x, y))
            return i;
    return -1;
}

QRectF DiskMapView::blockRect(int index) const
{
    const Block *b = block(index);
    return b ? b->rect : QRectF();
}

QString DiskMapView::blockPath(int index) const
{
    const Block *b = block(index);
    if (!b || !m_scanner)
        return {};
    const FolderTotals::Node *in = b->parent >= 0 ? m_blocks[size_t(b->parent)].node : nullptr;
    return b->node ? m_scanner->pathOf(b->node, in) : m_scanner->pathOf(in, nullptr);
}

qint64 DiskMapView::blockSize(int index) const
{
    const Block *b = block(index);
    return b ? b->size : 0;
}

qint64 DiskMapView::blockFiles(int index) const
{
    const Block *b = block(index);
    return b ? b->files : 0;
}

QString DiskMapView::blockKind(int index) const
{
    const Block *b = block(index);
    if (!b)
        return {};
    switch (b->kind) {
    case Kind::folder:
        return QStringLiteral("folder");
    case Kind::package:
        return QStringLiteral("package");
    case Kind::others:
        return QStringLiteral("others");
    case Kind::file:
        break;
    }
    return QStringLiteral("file");
}

bool DiskMapView::isSelectable(int index) const
{
    return block(index) && !m_ids[size_t(index)].isEmpty();
}

bool DiskMapView::isSelected(int index) const
{
    return block(index) && m_selected[size_t(index)];
}

QString DiskMapView::blockName(int index) const
{
    const Block *b = block(index);
    if (!b)
        return {};
    const QString size = Formatters::bytes(b->size);
    switch (b->kind) {
    case Kind::folder:
        return QStringLiteral("%1, carpeta, %2 en %3 archivo(s)")
            .arg(nameOf(*b), size)
            .arg(b->files);
    case Kind::package:
        return QStringLiteral("%1, paquete, %2 en %3 archivo(s)")
            .arg(nameOf(*b), size)
            .arg(b->files);
    case Kind::others:
        return QStringLiteral("Otros, %1 en %2 archivo(s)").arg(size).arg(b->files);
    case Kind::file:
        break;
    }
    QString text = QStringLiteral("%1, archivo, %2").arg(nameOf(*b), size);
    if (isSelected(index))
        text += QStringLiteral(", seleccionado");
    return text;
}

void DiskMapView::activate(int index)
{
    const Block *b = block(index);
    if (!b || !m_scanner)
        return;
    if (b->kind == Kind::folder) {
        m_scanner->zoomInto(b->node, b->parent >= 0 ? m_blocks[size_t(b->parent)].node : nullptr);
    } else if (isSelectable(index)) {
        Q_EMIT toggleRequested(m_ids[size_t(index)]);
    }
}

void DiskMapView::moveFocus(int dx, int dy)
{
    if (m_blocks.empty())
        return;
    const Block *from = block(m_focused);
    if (!from) {
        setFocusedBlock(0);
        return;
    }
    // Among the entries of the folder shown, the nearest whose centre lies that
    // way, a step aside counting double.
    const QPointF centre = from->rect.center();
    int best = -1;
    double bestDistance = 0;
    for (int i = 0; i < blockCount(); ++i) {
        const Block &to = m_blocks[size_t(i)];
        if (i == m_focused || to.depth != 0)
            continue;
        const QPointF d = to.rect.center() - centre;
        const double ahead = d.x() * dx + d.y() * dy;
        if (ahead <= 0.5)
            continue;
        const double aside = std::abs(dx != 0 ? d.y() : d.x());
        const double distance = ahead + 2 * aside;
        if (best < 0 || distance < bestDistance) {
            best = i;
            bestDistance = distance;
        }
    }
    if (best >= 0)
        setFocusedBlock(best);
}

void DiskMapView::paint(QPainter *painter)
{
    draw(*painter, m_blocks, m_colors, m_selected, m_focused, m_hovered);
}

void DiskMapView::draw(QPainter &painter, const std::vector<Block> &blocks,
                       const QHash<QString, QColor> &colors, const std::vector<char> &selected,
                       int focused, int hovered)
{
    QFont font = painter.font();
    font.setPixelSize(11);
    painter.setFont(font);
    const QFontMetricsF metrics(font);
    std::vector<char> nests(blocks.size(), 0);
    for (const Block &b : blocks)
        if (b.parent >= 0)
            nests[size_t(b.parent)] = 1;
    // The edges are the ground left between the fills: stroking thousands of
    // outlines took more than half of a redraw.
    if (!blocks.empty())
        painter.fillRect(painter.window(), QColor(10, 14, 20));
    Fills fills(colors);
    for (const Block &b : blocks)
        painter.fillRect(b.rect.adjusted(0, 0, -1, -1), fills.of(b));
    painter.setPen(colorOf(colors, QStringLiteral("text")));
    for (size_t i = 0; i < blocks.size(); ++i) {
        const Block &b = blocks[i];
        if (!nests[i])
            label(painter, b, metrics, false);
        else
            label(painter,
                  Block{QRectF(b.rect.topLeft(), QSizeF(b.rect.width(), 18)), b.kind, b.node,
                        b.size, b.files, b.depth, b.parent},
                  metrics, true);
    }
    if (hovered >= 0 && hovered < int(blocks.size()))
        painter.fillRect(blocks[size_t(hovered)].rect, QColor(255, 255, 255, 28));
    painter.setPen(QPen(colorOf(colors, QStringLiteral("selection")), 3));
    for (size_t i = 0; i < blocks.size() && i < selected.size(); ++i)
        if (selected[i])
            painter.drawRect(blocks[i].rect.adjusted(1.5, 1.5, -1.5, -1.5));
    if (focused >= 0 && focused < int(blocks.size())) {
        painter.setPen(QPen(colorOf(colors, QStringLiteral("focus")), 2));
        painter.drawRect(blocks[size_t(focused)].rect.adjusted(1, 1, -1, -1));
    }
}
