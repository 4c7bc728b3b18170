#pragma once

#include "FolderTotals.h"

#include <QByteArrayView>
#include <QRectF>
#include <QString>
#include <vector>

// The blocks of the map of one folder: its entries, each folder with its own
// entries nested one level inside, and what is too small to draw gathered in
// "Otros". A pure function of the folder's totals and the room to draw in.
namespace DiskMapLayout {

struct Block
{
    enum class Kind
    {
        folder,
        package,
        file,
        others, // "Otros": small entries and a folder's files not kept by name
    };
    QRectF rect;
    Kind kind = Kind::file;
    const FolderTotals::Node *node = nullptr; // none for "Otros"
    qint64 size = 0;
    qint64 files = 0;
    int depth = 0;   // 0: an entry of the folder shown; 1: nested in one
    int parent = -1; // the depth-0 block it is nested in
};

struct Style
{
    double minimumSide = 6;   // a block narrower or lower than this goes to "Otros"
    double minimumArea = 144; // and one smaller than this
    double nestFrom = 48;     // a folder this wide and high shows its entries inside
    double inset = 3;         // room around nested blocks
    double titleHeight = 16;  // room for a folder's name above its entries
};

// Lays out `folder` in `area`: the depth-0 blocks in order, largest first and
// "Otros" last, each followed by the blocks nested in it.
std::vector<Block> blocks(const FolderTotals::Node &folder, const QRectF &area,
                          const Style &style = {});

// The kind of file a name suggests, for its colour: "video", "audio", "image",
// "archive", "document", "code" or "other".
QString fileClass(QByteArrayView name);

} // namespace DiskMapLayout
