#pragma once

#include "DuplicateTypes.h"
#include "ScannerBase.h"

// The duplicate walk: regular, visible files outside packages whose size on disk
// is at least minimumBytes, bucketed by size; files sharing a size are compared by
// their full SHA-256 digests, and equal digests form groups (files sorted by
// folder path). A file whose size is unique is never opened; same-size files
// whose first and last 4 KiB differ are told apart without reading the rest.
namespace DuplicateFinder {

WalkOutcome<QList<DuplicateGroup>> findDuplicates(const QString &inside, qint64 minimumBytes);

} // namespace DuplicateFinder
