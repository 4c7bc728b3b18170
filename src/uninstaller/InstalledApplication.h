#pragma once

#include "FileIdentity.h"
#include "FileLocation.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

// One application bundle of "/Applications" or of the home's "Applications".
struct InstalledApplication
{
    QString url;                             // the bundle
    QString name;                            // its folder name without the extension
    std::optional<QString> bundleIdentifier; // absent when the bundle gives none
    QString version;                         // "Sin versión" when the bundle gives none
    qint64 appSize = 0;                      // bytes on disk below the bundle
    QStringList relatedFiles;                // entries of the user's Library, each once
    qint64 relatedSize = 0;                  // bytes on disk of those entries
    FileIdentity identity;                   // which bundle the scan saw
    QList<FileIdentity> relatedIdentities;   // which entries, in relatedFiles' order

    QString id() const { return FileLocation::standardizedPath(url); }
    qint64 totalSize() const { return appSize + relatedSize; }
    bool operator==(const InstalledApplication &) const = default;
};
