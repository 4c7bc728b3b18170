#include "ApplicationInventory.h"

#include "FileSystem.h"
#include "FileWalker.h"
#include "PropertyList.h"
#include "WalkControl.h"
#include "WorkQueue.h"

#include <QSet>
#include <algorithm>

namespace {

QString nameWithoutExtension(const QString &fileName)
{
    const QString ext = FileLocation::pathExtension(fileName);
    return ext.isEmpty() ? fileName : fileName.left(fileName.size() - ext.size() - 1);
}

// The string value of a key, or nothing when it is absent or of another type.
std::optional<QString> stringValue(const QVariantMap &info, const QString &key)
{
    const auto it = info.constFind(key);
    if (it == info.constEnd() || it->typeId() != QMetaType::QString)
        return std::nullopt;
    return it->toString();
}

// The icon file a bundle names in its information list, when it exists.
QString iconFile(const BundleInfo &info, const QString &bundlePath)
{
    QString file = info.string(QStringLiteral("CFBundleIconFile"));
    // A name, not a path: nothing outside the bundle's resources is shown.
    if (file.isEmpty() || file.contains(QLatin1Char('/')))
        return {};
    if (FileLocation::pathExtension(file).isEmpty())
        file += QStringLiteral(".icns");
    const QString path = FileLocation::appendingPathComponent(
        bundlePath, QStringLiteral("Contents/Resources/") + file);
    const auto values = FileSystem::resourceValues(path);
    return values && values->isRegularFile ? path : QString();
}

ApplicationInventory::FoundApplication inspect(const EntryInfo &child,
                                               const ApplicationInventory::LibraryListing &library)
{
    ApplicationInventory::FoundApplication found;
    InstalledApplication &app = found.application;
    app.url = child.path;
    app.identity = {child.device, child.inode, child.fileSize, child.modificationTimeMs};
    app.name = nameWithoutExtension(child.name);
    app.version = QStringLiteral("Sin versión");
    if (child.isDirectory && !child.isSymbolicLink) {
        if (const auto info = BundleInfo::read(child.path)) {
            const auto identifier = stringValue(info->info, QStringLiteral("CFBundleIdentifier"));
            if (identifier && !identifier->isEmpty())
                app.bundleIdentifier = identifier;
            if (const auto version =
                    stringValue(info->info, QStringLiteral("CFBundleShortVersionString")))
                app.version = *version;
            found.iconPath = iconFile(*info, child.path);
        }
    }
    app.appSize = ApplicationInventory::folderSize(child.path);
    app.relatedFiles = ApplicationInventory::relatedFiles(app.bundleIdentifier, app.name, library);
    for (const QString &related : app.relatedFiles) {
        app.relatedSize += ApplicationInventory::folderSize(related);
        app.relatedIdentities.append(library.identities.value(related));
    }
    return found;
}

} // namespace

namespace ApplicationInventory {

QStringList librarySearchFolders(const QString &library)
{
    QStringList folders;
    for (const char *name : {"Application Support", "Caches", "Preferences", "Logs",
                             "Saved Application State", "Containers", "Group Containers"})
        folders << FileLocation::appendingPathComponent(library, QString::fromLatin1(name));
    return folders;
}

LibraryListing listLibrary(const QString &library)
{
    LibraryListing listing;
    for (const QString &folder : librarySearchFolders(library)) {
        int error = 0;
        const auto children = FileSystem::listDirectory(folder, true, &error);
        if (!children) {
            WalkControl::countUnlistedFolder(folder, error); // nothing of it is related
            continue;
        }
        for (const EntryInfo &child : *children) {
            listing.paths << child.path;
            listing.normalisedNames << ApplicationInventory::normalisedName(child.name);
            listing.identities.insert(
                child.path, {child.device, child.inode, child.fileSize, child.modificationTimeMs});
        }
    }
    return listing;
}

QList<FoundApplication> findApplicationsWithIcons(const QStringList &roots, const QString &library)
{
    const LibraryListing listing = listLibrary(library);
    QList<EntryInfo> bundles;
    // One bundle is one application, whichever root reached it (the home's
    // Applications may be a link to the system's).
    QSet<std::pair<quint64, quint64>> seen;
    for (const QString &root : roots) {
        int error = 0;
        const auto children = FileSystem::listDirectory(root, true, &error);
        if (!children) {
            WalkControl::countUnlistedFolder(root, error);
            continue;
        }
        for (const EntryInfo &child : *children) {
            if (FileLocation::pathExtension(child.name).toLower() != QLatin1String("app"))
                continue;
            const std::pair inode{child.device, child.inode};
            if (seen.contains(inode))
                continue;
            seen.insert(inode);
            bundles.append(child);
        }
    }
    // Each application, with the sizes of its leftovers, is one unit of work.
    QList<FoundApplication> found(bundles.size());
    FoundApplication *inspected = found.data(); // each unit writes only its own entry
    parallelFor(bundles.size(),
                [&](qsizetype i) { inspected[i] = inspect(bundles.at(i), listing); });
    if (WalkControl::stopRequested())
        return {};
    return found;
}

QList<InstalledApplication> findInstalledApplications(const QStringList &roots,
                                                      const QString &library)
{
    QList<InstalledApplication> applications;
    for (const FoundApplication &found : findApplicationsWithIcons(roots, library))
        applications.append(found.application);
    return applications;
}

QStringList relatedFiles(const std::optional<QString> &bundleIdentifier,
                         const QString &applicationName, const LibraryListing &library)
{
    const QString name = ApplicationInventory::normalisedName(applicationName);
    const QString identifier = bundleIdentifier ? bundleIdentifier->toLower() : QString();
    if (name.isEmpty() && identifier.isEmpty())
        return {};
    QSet<QString> related;
    for (qsizetype i = 0; i < library.paths.size(); ++i) {
        const QString &child = library.normalisedNames.at(i);
        if ((!identifier.isEmpty() && child.contains(identifier)) ||
            (!name.isEmpty() && child.contains(name)))
            related.insert(library.paths.at(i));
    }
    // Any order would do; a fixed one keeps equal scans equal.
    QStringList out(related.cbegin(), related.cend());
    std::sort(out.begin(), out.end());
    return out;
}

QString normalisedName(const QString &name)
{
    QString out = name.toLower();
    out.remove(QLatin1Char(' '));
    return out;
}

qint64 folderSize(const QString &path)
{
    const auto self = FileSystem::resourceValues(path);
    if (!self)
        return 0;
    if (self->isRegularFile)
        return self->allocatedSize;
    if (!self->isDirectory || self->isSymbolicLink)
        return 0; // a link is moved as a link; what it points at stays
    qint64 total = 0;
    FileWalker::walk(path, SkipHiddenFiles | DoNotFollowRootLink, [&](const EntryInfo &entry) {
        if (entry.isRegularFile)
            total += entry.allocatedSize;
        return FileWalker::Action::Continue;
    });
    return total;
}

} // namespace ApplicationInventory
