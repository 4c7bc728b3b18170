#pragma once

#include "FileIdentity.h"
#include "FileLocation.h"

#include <QString>
#include <optional>

// One file found by the large-file scanner.
struct LargeFileItem
{
    QString url;     // the file's path
    QString name;    // its last path component
    QString path;    // the folder that holds it
    qint64 size = 0; // on disk: allocated size, else logical size
    std::optional<qint64> modificationDateMs;
    FileIdentity identity; // which file the scan saw

    QString id() const { return FileLocation::standardizedPath(url); }
    bool operator==(const LargeFileItem &) const = default;
};
