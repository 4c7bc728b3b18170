#include "DiskMapLayout.h"

#include "TreemapLayout.h"

#include <QHash>

namespace DiskMapLayout {

namespace {

using Node = FolderTotals::Node;
using Kind = Block::Kind;

Kind kindOf(const Node &node)
{
    switch (node.kind) {
    case Node::Kind::folder:
        return Kind::folder;
    case Node::Kind::package:
        return Kind::package;
    case Node::Kind::file:
        break;
    }
    return Kind::file;
}

bool tooSmall(const QRectF &rect, const Style &style)
{
    return rect.width() < style.minimumSide || rect.height() < style.minimumSide ||
           rect.width() * rect.height() < style.minimumArea;
}

// Lays out the entries of `folder` in `area` and appends them to `out`.
void level(const Node &folder, const QRectF &area, int depth, int parent, const Style &style,
           std::vector<Block> &out)
{
    if (folder.size <= 0 || area.width() < 1 || area.height() < 1)
        return;
    const double perByte = area.width() * area.height() / double(folder.size);
    std::vector<const Node *> shown;
    Block others{{}, Kind::others, nullptr, folder.restSize, folder.restFiles, depth, parent};
    for (const std::unique_ptr<Node> &child : folder.children) {
        if (child->size > 0 && double(child->size) * perByte >= style.minimumArea) {
            shown.push_back(child.get());
        } else {
            others.size += child->size;
            others.files += child->files;
        }
    }
    // A row of small blocks can come out too thin to see: the first such block
    // and every smaller one go to "Otros" too, until every block is drawable.
    std::vector<QRectF> rects;
    for (;;) {
        std::vector<qint64> sizes;
        sizes.reserve(shown.size() + 1);
        for (const Node *node : shown)
            sizes.push_back(node->size);
        if (others.size > 0)
            sizes.push_back(others.size);
        rects = TreemapLayout::squarify(sizes, area);
        size_t first = 0;
        while (first < shown.size() && !tooSmall(rects[first], style))
            ++first;
        if (first == shown.size())
            break;
        for (size_t i = first; i < shown.size(); ++i) {
            others.size += shown[i]->size;
            others.files += shown[i]->files;
        }
        shown.resize(first);
    }
    std::vector<std::pair<int, const Node *>> nestIn;
    for (size_t i = 0; i < shown.size(); ++i) {
        const Node &node = *shown[i];
        out.push_back({rects[i], kindOf(node), &node, node.size, node.files, depth, parent});
        if (depth == 0 && node.kind == Node::Kind::folder && rects[i].width() >= style.nestFrom &&
            rects[i].height() >= style.nestFrom)
            nestIn.emplace_back(int(out.size()) - 1, &node);
    }
    if (others.size > 0) {
        others.rect = rects.back();
        if (!tooSmall(others.rect, style))
            out.push_back(others);
    }
    for (const auto &[index, node] : nestIn) {
        const QRectF inner = out[size_t(index)].rect.adjusted(
            style.inset, style.inset + style.titleHeight, -style.inset, -style.inset);
        level(*node, inner, depth + 1, index, style, out);
    }
}

} // namespace

std::vector<Block> blocks(const Node &folder, const QRectF &area, const Style &style)
{
    std::vector<Block> out;
    level(folder, area, 0, -1, style, out);
    return out;
}

QString fileClass(QByteArrayView name)
{
    static const QHash<QByteArray, QString> classOf = [] {
        QHash<QByteArray, QString> out;
        const QList<std::pair<const char *, QList<QByteArray>>> classes = {
            {"video",
             {"mp4", "mov", "m4v", "mkv", "avi", "wmv", "webm", "mpg", "mpeg", "flv", "3gp"}},
            {"audio", {"mp3", "m4a", "aac", "wav", "aiff", "aif", "flac", "ogg", "opus", "caf"}},
            {"image",
             {"jpg", "jpeg", "png", "heic", "heif", "gif", "tiff", "tif", "bmp", "webp", "raw",
              "cr2", "nef", "dng", "psd", "svg"}},
            {"archive",
             {"zip", "dmg", "iso", "img", "tar", "gz", "tgz", "bz2", "xz", "7z", "rar", "pkg",
              "sparseimage", "sparsebundle", "vmdk", "vdi", "qcow2"}},
            {"document",
             {"pdf", "doc", "docx", "xls", "xlsx", "ppt", "pptx", "pages", "numbers", "key", "txt",
              "rtf", "odt", "ods", "epub", "csv"}},
            {"code", {"c",   "cc",    "cpp",  "h",   "hpp",    "m",  "swift", "py",
                      "js",  "ts",    "java", "rs",  "go",     "rb", "sh",    "json",
                      "xml", "plist", "html", "css", "sqlite", "db", "log"}},
        };
        for (const auto &[kind, extensions] : classes)
            for (const QByteArray &extension : extensions)
                out.insert(extension, QString::fromLatin1(kind));
        return out;
    }();
    static const QString other = QStringLiteral("other");
    const qsizetype dot = name.lastIndexOf('.');
    if (dot <= 0 || name.size() - dot > 13)
        return other;
    return classOf.value(name.sliced(dot + 1).toByteArray().toLower(), other);
}

} // namespace DiskMapLayout
