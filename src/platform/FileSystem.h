#pragma once

#include "EntryInfo.h"

#include <QList>
#include <QString>
#include <optional>

// One-level file-system operations on string paths.
namespace FileSystem {

// The direct children of a folder, with their values; nothing when the folder
// cannot be listed (*error then holds the errno). Children whose values cannot
// be read are left out.
std::optional<QList<EntryInfo>> listDirectory(const QString &folder, bool skipHidden,
                                              int *error = nullptr);

// The values of one entry (a link is described, not followed); nothing when the
// entry cannot be examined.
std::optional<EntryInfo> resourceValues(const QString &path);

// Moves or renames an item; fails, leaving both places untouched, when anything
// already exists at the destination.
bool moveItem(const QString &from, const QString &to, QString *error = nullptr);

// Creates a folder and any missing parents.
bool createFolder(const QString &path);

bool fileExists(const QString &path);
bool isExecutableFile(const QString &path);

} // namespace FileSystem
