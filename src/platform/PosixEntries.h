#pragma once

#include "EntryInfo.h"

#include <QByteArray>
#include <vector>

struct stat;

// The POSIX primitives shared by the walker and the one-level listing.
namespace PosixEntries {

// A name read from a folder, with the type the listing gives (DT_UNKNOWN when
// the file system does not say).
struct Name
{
    QByteArray bytes;
    unsigned char type = 0;
};

// Reads the names of an open directory (without "." and ".."), sorted bytewise.
// The descriptor stays open and usable. Returns false and sets errno on failure;
// a folder read only in part is a failure.
bool readNames(int folderFd, std::vector<Name> *names);

// Opens a walk's root folder and reads its names; -1 when it cannot be opened or
// listed (a root that opens but cannot be listed is as unusable as a missing one).
int openRoot(const QByteArray &path, bool followLink, std::vector<Name> *names);

// The walks' two skips: hidden entries, and the inside of bundles.
inline bool isHidden(const QByteArray &name)
{
    return name.startsWith('.');
}
bool isPackage(const QByteArray &name);

// The quarantine folder as the walks know it: by device and inode, so that no
// spelling of a path and no link leads a walk into it.
struct QuarantineMark
{
    bool known = false;
    quint64 device = 0;
    quint64 inode = 0;
    QByteArray resolved; // its path with links resolved

    static QuarantineMark read();
    bool is(const struct stat &st) const;
    // The folder at this path is the quarantine folder or lies inside it.
    bool covers(const QByteArray &path) const;
};

// Fills an EntryInfo from lstat data.
void fill(EntryInfo *info, const struct stat &st);

// Whether the current user may read an entry with these permissions.
bool isReadable(const struct stat &st);

} // namespace PosixEntries
