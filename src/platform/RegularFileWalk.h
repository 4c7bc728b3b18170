#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>
#include <functional>
#include <optional>
#include <sys/stat.h>

class FolderListing;

// One regular file met by a RegularFileWalk: its folder and name as the bytes on
// disk (any bytes; the paths it gives are FileLocation::decode's) and its lstat data.
struct FileEntry
{
    const QByteArray &folder; // absolute, no trailing slash
    QByteArrayView name;
    const struct stat &st;
    int level;

    QString path() const;
    QString fileName() const;
    QString folderPath() const;
    bool isReadable() const;
    // Always known here, so it is the size on disk (a sparse file counts what it
    // occupies, not its length).
    qint64 allocatedSize() const { return qint64(st.st_blocks) * 512; }
    std::optional<qint64> modificationTimeMs() const;
};

// The walk the large-file and duplicate scanners share: every regular file below
// a root (links, devices and folders are not handed out; links are never
// followed), with the walker's options (skip package contents, skip hidden
// files). Folders are read on all cores, yet the files come back in exactly the
// order of a depth-first walk with each folder's entries in byte order.
//
// keep() runs on several threads at once; it must only look at its entry.
// Folders and files that cannot be read are left out and named to WalkControl.
// Nothing when the root cannot be opened.
namespace RegularFileWalk {

template <typename Item> using Keep = std::function<std::optional<Item>(const FileEntry &)>;

// Type-erased core: keep() appends to the list of the folder being read.
struct Sink
{
    virtual ~Sink() = default;
    virtual void keep(const FileEntry &entry) = 0;
    // A new, empty sink for the items of one folder.
    virtual Sink *spawn() = 0;
};

// Passed as each folder is about to be read from the disk (the root at level 1),
// on the thread that reads it, before the walk looks for a request to stop; a
// folder taken from a listing is not read. The
// program links an empty definition (FolderReachedNone.cpp); a tool that holds
// a walk in flight links one of its own in its place (tools/shots).
void folderReached(const QByteArray &folder, int level);

// A walk may take the folders that did not change from an earlier walk's
// listing, and may record one of its own; either may be absent. A listing made
// of another root or with other options is not used.
struct Listings
{
    const FolderListing *reuse = nullptr;
    FolderListing *record = nullptr;
};

// Walks root; the items come back through the tree of sinks spawned from `top`,
// which join() then concatenates in walk order. False when the root cannot be
// opened.
bool walk(const QString &root, int options, Sink *top, Listings listings = {});

template <typename Item>
std::optional<QList<Item>> collect(const QString &root, int options, const Keep<Item> &keep,
                                   Listings listings = {})
{
    struct ItemSink : Sink
    {
        const Keep<Item> &keepFn;
        QList<Item> items;
        // Subfolder sinks, each placed after the items kept before it was met.
        std::vector<std::pair<qsizetype, std::unique_ptr<ItemSink>>> children;

        explicit ItemSink(const Keep<Item> &k) : keepFn(k) {}
        void keep(const FileEntry &entry) override
        {
            if (std::optional<Item> item = keepFn(entry))
                items.append(std::move(*item));
        }
        Sink *spawn() override
        {
            children.emplace_back(items.size(), std::make_unique<ItemSink>(keepFn));
            return children.back().second.get();
        }
        void joinInto(QList<Item> &out)
        {
            qsizetype at = 0;
            for (auto &[position, child] : children) {
                for (; at < position; ++at)
                    out.append(std::move(items[at]));
                child->joinInto(out);
                child.reset(); // free each folder's memory as soon as it is joined
            }
            for (; at < items.size(); ++at)
                out.append(std::move(items[at]));
        }
    };
    ItemSink top(keep);
    if (!walk(root, options, &top, listings))
        return std::nullopt;
    QList<Item> out;
    top.joinInto(out);
    return out;
}

} // namespace RegularFileWalk
