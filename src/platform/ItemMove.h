#pragma once

#include <QByteArray>
#include <functional>
#include <sys/stat.h>
#include <utility>
#include <vector>

// Moving an item between two open folders without ever replacing anything.
// Within one file system that is a rename. Between file systems the item is
// copied under a temporary name, every file of the copy is checked against
// the original (size and SHA-256), the whole original is checked again against
// what the copy saw (every entry's identity, size and times, every folder's
// listing), the copy takes its name, and only then is the original removed;
// a failure or a change before that removes the copy and leaves the original
// as it was.
namespace ItemMove {

// renameat2 with RENAME_NOREPLACE, or check-then-rename where the file system
// does not have it. -1 with errno on failure (EEXIST when the name is taken).
int renameNoReplace(int fromDir, const char *from, int toDir, const char *to);

struct Result
{
    bool moved = false;
    int error = 0;             // errno of the failure, 0 when none
    bool originalLeft = false; // moved by copying, yet the original could not be removed whole
    // ESTALE from a copy: what changed, below the item; empty (not null) for
    // the item itself. Null for any other failure.
    QByteArray changedPath;
};

// What a copy saw of one entry of the original: its status, and for a folder
// each entry it listed.
struct Seen
{
    struct stat status = {};
    std::vector<std::pair<QByteArray, Seen>> children;
};

// `expected` is the item as it was pinned: the item moves only while it is
// still that file, and what arrives must be that file too. `tempName` names
// the copy while it is unfinished; `afterCopy` runs once a copy is complete,
// before it is checked against the original.
Result move(int fromDir, const QByteArray &fromName, const struct stat &expected, int toDir,
            const QByteArray &toName, const QByteArray &tempName,
            const std::function<void()> &afterCopy = {});

// Writes all of `data`, going on after interruptions. False with errno set.
bool writeAll(int fd, const char *data, qint64 length);
inline bool writeAll(int fd, const QByteArray &bytes)
{
    return writeAll(fd, bytes.constData(), bytes.size());
}

// Writes a whole new file under `name` (mode 0600): created beside it under a
// name of its own, flushed, then renamed over it, so readers see the old or
// the new one.
bool replaceFile(int dirFd, const QByteArray &name, const QByteArray &bytes);

// Removes a tree that is ours (an unfinished copy): links are removed, never
// followed. False when something stayed.
bool removeTree(int dirFd, const QByteArray &name);

} // namespace ItemMove
