#pragma once

#include "FileIdentity.h"

#include <QString>
#include <optional>

// The folder a scan started from. Links above it (a home reached through a link)
// are resolved once, when the scan starts; every later removal starts again from
// that resolved folder, and only while it is still the same folder.
struct ResolvedRoot
{
    QString path;     // as given; the items' paths begin with it
    QString resolved; // with every link resolved; empty when it could not be
    FileIdentity identity;

    static ResolvedRoot resolve(const QString &path);
    bool isValid() const { return !resolved.isEmpty(); }
    // The item's path below the root, without a leading "/"; nothing when the
    // item is the root itself or lies outside it.
    std::optional<QString> relativePathOf(const QString &itemPath) const;
};
