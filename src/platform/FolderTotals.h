#pragma once

#include <QByteArray>
#include <QString>
#include <QtGlobal>
#include <atomic>
#include <memory>
#include <vector>

// Where the space of a folder went: one walk gives every folder below it the
// bytes its non-folder entries occupy on disk and how many there are. Memory
// goes per folder, not per file: of a folder's own files only the largest are
// kept by name, the rest are counted together.
namespace FolderTotals {

struct Node
{
    enum class Kind : quint8
    {
        folder,
        package, // a bundle: counted whole, its inside is not shown
        file,    // any entry that is not a folder (links are not followed)
    };

    QByteArray name; // as on disk; the root's is its whole path
    Kind kind = Kind::folder;
    // Allocated bytes (blocks × 512) and entries below, each inode counted once.
    qint64 size = 0;
    qint64 files = 0;
    // Of a folder's own files, those not kept by name.
    qint64 restSize = 0;
    qint64 restFiles = 0;
    // Every folder below was read to the end (none unreadable, none left by a stop).
    bool whole = true;
    // Subfolders, bundles and the kept files, largest first, then by name.
    std::vector<std::unique_ptr<Node>> children;

    // While walking: this folder's own entries, added from any thread (a
    // bundle's come from every folder inside it).
    std::atomic<qint64> ownSize{0};
    std::atomic<qint64> ownFiles{0};
    std::atomic<bool> broken{false};

    bool isFolder() const { return kind != Kind::file; }
};

struct Options
{
    // Folders at fewer levels below the root than this keep every file by name.
    int allFilesAbove = 1;
    // Deeper, a folder keeps by name its largest files of at least this size, at most this many.
    qint64 keptFileMinimum = 64 * 1024;
    int keptFilesPerFolder = 32;
};

// `folder` + "/" + `name`, for a folder that may be "/" itself.
inline QByteArray joined(const QByteArray &folder, const QByteArray &name)
{
    return folder.endsWith('/') ? folder + name : folder + '/' + name;
}

// Walks `root` on the pool (it stays on the root's file system, never follows a
// link below the root and enters bundles without showing them). Nothing when
// the root cannot be opened. A stopped walk returns what it finished, with the
// folders it did not finish marked as not whole.
std::unique_ptr<Node> walk(const QString &root, const Options &options = {});

} // namespace FolderTotals
