#pragma once

#include <QList>
#include <QString>
#include <vector>

// Tells apart files of one length by reading them side by side, chunk by chunk:
// a file stops being read as soon as its content differs from every other file
// of its set, and each set that stays identical to the end is hashed once, from
// one of its files, instead of once per file.
namespace ContentComparison {

struct IdenticalFiles
{
    QString digest;           // SHA-256 of the shared content, lower-case hex
    std::vector<int> members; // indices into the paths given
};

// Sets above this size are hashed file by file instead, to bound the memory of
// the side-by-side reads.
inline constexpr int kMaxSideBySide = 64;

// Classes of two or more files with identical content, each with its digest, in
// order of their first member. Files that cannot be opened or read are left out.
std::vector<IdenticalFiles> identicalContent(const QList<QString> &paths);

} // namespace ContentComparison
