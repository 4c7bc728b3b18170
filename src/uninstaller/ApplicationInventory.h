#pragma once

#include "InstalledApplication.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

// The background half of the uninstaller: which applications are installed, how
// much each takes and what it left in the user's Library. Every function works
// on its arguments alone and may run on any thread.
namespace ApplicationInventory {

// The seven folders of the user's Library searched for leftovers, in order.
QStringList librarySearchFolders(const QString &library);

// The visible children of each searched folder, listed once per inventory.
struct LibraryListing
{
    QStringList paths;
    QStringList normalisedNames;             // lower-cased, spaces removed
    QHash<QString, FileIdentity> identities; // by path
};
LibraryListing listLibrary(const QString &library);

// Applications directly inside the roots, in root order and then listing order.
// Roots that are missing or cannot be listed count as empty.
QList<InstalledApplication> findInstalledApplications(const QStringList &roots,
                                                      const QString &library);

// The same, each with the icon file its bundle names when that file exists
// (empty otherwise), read from the same information list.
struct FoundApplication
{
    InstalledApplication application;
    QString iconPath;
};
QList<FoundApplication> findApplicationsWithIcons(const QStringList &roots, const QString &library);

// A name lower-cased and without spaces, as entries and applications are matched.
QString normalisedName(const QString &name);

// Entries of the searched folders whose name, lower-cased and without spaces,
// contains the lower-cased identifier or the normalised application name. An
// empty identifier counts as none: it would be contained in every name.
QStringList relatedFiles(const std::optional<QString> &bundleIdentifier,
                         const QString &applicationName, const LibraryListing &library);

// Bytes on disk of the visible regular files below a folder, package contents
// included, links never followed. A plain file measures itself; anything that
// cannot be read counts as nothing.
qint64 folderSize(const QString &path);

} // namespace ApplicationInventory
