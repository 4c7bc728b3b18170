#pragma once

#include "FileIdentity.h"
#include "FileLocation.h"

#include <QString>
#include <optional>

// One visible top-level entry of the user's cache folder.
struct CleanupItem
{
    QString url;         // the entry, directly inside the cache folder
    QString name;        // its last path component, as listed
    QString displayName; // readableName(name)
    qint64 size = 0;     // logical bytes: deep sum for a folder, own size for a file
    int itemCount = 0;   // regular files counted in size
    std::optional<qint64> modificationDateMs; // of the entry itself
    bool isDirectory = false;
    bool isProtected = false;
    QString protectionReason; // empty when not protected

    FileIdentity identity; // which entry the scan listed
    QString id() const { return FileLocation::standardizedPath(url); }
    bool operator==(const CleanupItem &) const = default;
};
