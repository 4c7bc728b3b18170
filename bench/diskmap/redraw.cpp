// velmora-bench-diskmap-redraw [BLOCKS]: what a redraw of the map costs after a
// zoom or a resize: the layout of a folder's entries and the painting of every
// block, at the size the window gives the map and at a large one. The folder
// holds BLOCKS entries (5,000 by default) of sizes within a factor of eight, a tenth of them
// folders with entries of their own, so that nearly all are large enough to be drawn. Prints the
// median and the worst of 60 redraws.
#include "DiskMapLayout.h"
#include "DiskMapView.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <algorithm>
#include <cstdio>

namespace {

using Node = FolderTotals::Node;

std::unique_ptr<Node> folderOf(int entries, unsigned seed)
{
    auto folder = std::make_unique<Node>();
    folder->name = "bench";
    for (int i = 0; i < entries; ++i) {
        seed = seed * 1103515245u + 12345u;
        auto node = std::make_unique<Node>();
        node->name = "entry" + QByteArray::number(i) + (i % 3 ? ".mov" : ".pdf");
        node->kind = i % 10 == 0 ? Node::Kind::folder : Node::Kind::file;
        node->size = (1000 + qint64((seed >> 8) % 1000)) * (i % 7 == 0 ? 4 : 1);
        node->files = 1;
        if (node->kind == Node::Kind::folder)
            for (int j = 0; j < 8; ++j) {
                auto inner = std::make_unique<Node>();
                inner->name = "inner" + QByteArray::number(j) + ".jpg";
                inner->kind = Node::Kind::file;
                inner->size = node->size / 8;
                inner->files = 1;
                node->children.push_back(std::move(inner));
            }
        folder->size += node->size;
        folder->files += node->files;
        folder->children.push_back(std::move(node));
    }
    std::sort(folder->children.begin(), folder->children.end(),
              [](const auto &a, const auto &b) { return a->size > b->size; });
    return folder;
}

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication app(argc, argv);
    const int entries = argc > 1 ? std::atoi(argv[1]) : 5000;
    const std::unique_ptr<Node> folder = folderOf(entries, 7);
    const QHash<QString, QColor> colors;
    for (const QSize size : {QSize(1056, 240), QSize(1056, 430), QSize(1800, 1000)}) {
        QImage image(size, QImage::Format_ARGB32_Premultiplied);
        std::vector<double> ms;
        size_t blocks = 0;
        for (int run = 0; run < 60; ++run) {
            QElapsedTimer timer;
            timer.start();
            const auto laid = DiskMapLayout::blocks(*folder, QRectF(QPointF(), size));
            image.fill(Qt::transparent);
            QPainter painter(&image);
            DiskMapView::draw(painter, laid, colors, std::vector<char>(laid.size(), 0), 0, 1);
            painter.end();
            ms.push_back(double(timer.nsecsElapsed()) / 1e6);
            blocks = laid.size();
        }
        std::sort(ms.begin(), ms.end());
        std::printf("%dx%d: %zu blocks drawn, redraw median %.2f ms, worst %.2f ms\n", size.width(),
                    size.height(), blocks, ms[ms.size() / 2], ms.back());
    }
    return 0;
}
