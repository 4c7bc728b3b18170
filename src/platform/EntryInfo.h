#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

// What the walker and the listing know about one entry, read with a single lstat.
// Fields mirror the resource values the scanners ask for; a value that could not
// be read stays absent.
struct EntryInfo
{
    QString path;  // absolute path, decoded from the exact bytes on disk
    QString name;  // last path component
    int level = 0; // depth below the walk's root (1 for its children)
    bool isRegularFile = false;
    bool isDirectory = false; // packages count as folders
    bool isSymbolicLink = false;
    bool isReadable = false;
    bool isHidden = false;
    bool isPackage = false; // a folder with a bundle extension (app, framework, …)
    qint64 fileSize = 0;
    qint64 allocatedSize = 0;
    std::optional<qint64> modificationTimeMs; // content modification, ms since 1970
    quint64 device = 0;
    quint64 inode = 0;
};
