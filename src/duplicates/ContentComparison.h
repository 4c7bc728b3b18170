#pragma once

#include <QList>
#include <QString>
#include <vector>

// Tells apart files of one length by reading them side by side, chunk by chunk:
// at each chunk the files still alike are split by that chunk's content, and a
// file stops being read as soon as it differs from every other file. Large
// files are compared near both ends first, in windows that grow. Each set that
// stays identical to the end has its digest from the chunks already read for
// the comparison, one copy's worth; only its last MiB, compared first, is read
// a second time, from the page cache, to be hashed in order.
namespace ContentComparison {

struct IdenticalFiles
{
    QString digest;           // SHA-256 of the shared content, lower-case hex
    std::vector<int> members; // indices into the paths given
};

// What one comparison may hold at once, whatever the number of files: the
// chunks in memory, and the files kept open (at most a quarter of the
// process's limit; a larger set reopens each file for each read).
inline constexpr qint64 kMemoryBudget = 12 * 1024 * 1024;
inline constexpr int kMaxOpenFiles = 1024;

// Classes of two or more files with identical content, each with its digest, in
// order of their first member. Files that cannot be opened or read are left out.
std::vector<IdenticalFiles> identicalContent(const QList<QString> &paths);

// Passed after each chunk is read and counted, on the thread that read it, with
// the file and the chunk's offset. The program links an empty definition
// (ChunkReadNone.cpp); tests that stop or hold a comparison at an exact read
// link one of their own in its place (tests/support/ReadHook.cpp).
void chunkRead(const QString &path, qint64 offset);

} // namespace ContentComparison
