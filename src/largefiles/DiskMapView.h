#pragma once

#include "DiskMapLayout.h"
#include "DiskMapScanner.h"
#include "ResultModel.h"

#include <QColor>
#include <QPointer>
#include <QQuickPaintedItem>
#include <QVariantMap>
#include <QtQml/qqmlregistration.h>

class QPainter;

// Draws the map of the folder a DiskMapScanner shows, and says which block is
// where. Files the large-file list holds can be selected from here: the list's
// model says which, and a click asks the screen to toggle them in the list.
class DiskMapView : public QQuickPaintedItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(DiskMapScanner *scanner READ scanner WRITE setScanner NOTIFY scannerChanged)
    Q_PROPERTY(ResultModel *files READ files WRITE setFiles NOTIFY filesChanged)
    // "folder", "package", "others", "selection", "focus", "text" and each file class.
    Q_PROPERTY(QVariantMap colors READ colors WRITE setColors NOTIFY colorsChanged)
    Q_PROPERTY(int blockCount READ blockCount NOTIFY layoutChanged)
    Q_PROPERTY(int focusedBlock READ focusedBlock WRITE setFocusedBlock NOTIFY focusedBlockChanged)
    Q_PROPERTY(int hoveredBlock READ hoveredBlock WRITE setHoveredBlock NOTIFY hoveredBlockChanged)
    // Rises whenever what a block shows may have changed (a new layout, the
    // selection): texts about a block that depend on it are read again.
    Q_PROPERTY(int revision READ revision NOTIFY revisionChanged)

public:
    explicit DiskMapView(QQuickItem *parent = nullptr);

    DiskMapScanner *scanner() const { return m_scanner; }
    void setScanner(DiskMapScanner *scanner);
    ResultModel *files() const { return m_files; }
    void setFiles(ResultModel *files);
    QVariantMap colors() const { return m_colorNames; }
    void setColors(const QVariantMap &colors);
    int blockCount() const { return int(m_blocks.size()); }
    int focusedBlock() const { return m_focused; }
    void setFocusedBlock(int index);
    int hoveredBlock() const { return m_hovered; }
    int revision() const { return m_revision; }
    void setHoveredBlock(int index);

    Q_INVOKABLE int blockAt(qreal x, qreal y) const;
    Q_INVOKABLE QRectF blockRect(int index) const;
    Q_INVOKABLE QString blockPath(int index) const;
    Q_INVOKABLE qint64 blockSize(int index) const;
    Q_INVOKABLE qint64 blockFiles(int index) const;
    // "folder", "package", "file" or "others".
    Q_INVOKABLE QString blockKind(int index) const;
    // Whether the large-file list holds this file, so that it can be selected here.
    Q_INVOKABLE bool isSelectable(int index) const;
    Q_INVOKABLE bool isSelected(int index) const;
    // What a screen reader says of a block: its name, kind and size.
    Q_INVOKABLE QString blockName(int index) const;
    // A folder zooms in; a file of the list is selected or no longer selected.
    Q_INVOKABLE void activate(int index);
    // Moves the focus to the nearest entry of the folder shown in that direction.
    Q_INVOKABLE void moveFocus(int dx, int dy);

    void paint(QPainter *painter) override;
    // Lays out and draws without a window: the map's redraw in the benchmark.
    static void draw(QPainter &painter, const std::vector<DiskMapLayout::Block> &blocks,
                     const QHash<QString, QColor> &colors, const std::vector<char> &selected,
                     int focused, int hovered);

Q_SIGNALS:
    void scannerChanged();
    void filesChanged();
    void colorsChanged();
    void layoutChanged();
    void focusedBlockChanged();
    void hoveredBlockChanged();
    void revisionChanged();
    void toggleRequested(const QString &id);

protected:
    void geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry) override;

private:
    void relayout();
    void refreshSelection();
    const DiskMapLayout::Block *block(int index) const;

    QPointer<DiskMapScanner> m_scanner;
    QPointer<ResultModel> m_files;
    QVariantMap m_colorNames;
    QHash<QString, QColor> m_colors;
    std::vector<DiskMapLayout::Block> m_blocks;
    std::vector<QString> m_ids;   // of file blocks the list holds, else empty
    std::vector<char> m_selected; // per block
    int m_focused = -1;
    int m_hovered = -1;
    int m_revision = 0;
    const FolderTotals::Node *m_shown = nullptr; // the folder laid out
};
