#pragma once

#include "FileIdentity.h"
#include "FileLocation.h"

#include <QList>
#include <QString>
#include <optional>

// One file found by the duplicate walk.
struct DuplicateFileItem
{
    QString url;
    QString name;
    QString path;    // the folder that holds it
    qint64 size = 0; // on disk
    std::optional<qint64> modificationDateMs;
    FileIdentity identity; // which file the scan saw, with its length and date then

    QString id() const { return FileLocation::standardizedPath(url); }
    bool operator==(const DuplicateFileItem &) const = default;
};

// Files with identical content, identified by their SHA-256 digest.
struct DuplicateGroup
{
    QString hash; // 64 lower-case hexadecimal digits
    QList<DuplicateFileItem> files;

    qint64 recoverableBytes() const
    {
        return files.isEmpty() ? 0 : qint64(files.size() - 1) * files.first().size;
    }
    bool operator==(const DuplicateGroup &) const = default;
};

// A file as the duplicates list shows it: with its group, and whether it is the
// file that group keeps.
struct DuplicateRow
{
    DuplicateFileItem file;
    QString groupHash;
    bool isKeeper = false;

    QString id() const { return file.id(); }
};

namespace DuplicateOrder {

// Unicode canonical order: canonically equivalent strings are equal, others
// compare by their normalized scalar values.
int compareCanonical(const QString &a, const QString &b);

// Oldest first, undated last; then name, then folder path.
bool keeperBefore(const DuplicateFileItem &a, const DuplicateFileItem &b);

// The file the group keeps: first in keeper order.
std::optional<DuplicateFileItem> keeper(const DuplicateGroup &group);

} // namespace DuplicateOrder
