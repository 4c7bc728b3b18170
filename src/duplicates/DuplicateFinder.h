#pragma once

#include "DuplicateTypes.h"
#include "ScannerBase.h"

class FolderListing;

// The duplicate walk: regular, visible files outside packages whose size on disk
// is at least minimumBytes, bucketed by size; files with identical content form
// groups identified by the SHA-256 digest of that content (files sorted by folder
// path). A file whose size is unique is never opened; same-size files whose first
// and last 4 KiB differ are told apart without reading the rest, and the others
// are read side by side only until they differ.
//
// The walk takes what did not change from `listing` when one is given that was
// made of the same folder and lists every file this one needs (FolderListing):
// the outcome is the same as without it.
namespace DuplicateFinder {

WalkOutcome<QList<DuplicateGroup>> findDuplicates(const QString &inside, qint64 minimumBytes,
                                                  const FolderListing *listing = nullptr);

} // namespace DuplicateFinder
