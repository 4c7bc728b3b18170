#pragma once

#include "EntryInfo.h"

#include <QByteArray>
#include <vector>

struct stat;

// The POSIX primitives shared by the walker and the one-level listing.
namespace PosixEntries {

// Reads the names of an open directory (without "." and ".."), sorted bytewise.
// The descriptor stays open and usable. Returns false and sets errno on failure.
bool readNames(int folderFd, std::vector<QByteArray> *names);

// Fills an EntryInfo from lstat data.
void fill(EntryInfo *info, const struct stat &st);

// Whether the current user may read an entry with these permissions.
bool isReadable(const struct stat &st);

} // namespace PosixEntries
