#include "ApplicationListModel.h"

#include "FileLocation.h"
#include "Formatters.h"
#include "SystemLayout.h"

#include <QUrl>

void ApplicationListModel::setApplications(const QList<InstalledApplication> &applications,
                                           const QHash<QString, QString> &iconPaths)
{
    beginReset();
    m_applications = applications;
    m_iconPaths = iconPaths;
    // The same application twice: equal names, or equal identifiers.
    QHash<QString, int> seen;
    for (const InstalledApplication &app : applications) {
        ++seen[QStringLiteral("n:") + app.name];
        if (app.bundleIdentifier)
            ++seen[QStringLiteral("i:") + *app.bundleIdentifier];
    }
    m_installedTwice.clear();
    for (const InstalledApplication &app : applications)
        if (seen.value(QStringLiteral("n:") + app.name) > 1 ||
            (app.bundleIdentifier && seen.value(QStringLiteral("i:") + *app.bundleIdentifier) > 1))
            m_installedTwice.insert(app.id());
    QList<QString> ids;
    ids.reserve(applications.size());
    for (const InstalledApplication &app : applications)
        ids.append(app.id());
    endReset(std::move(ids));
}

namespace {

// "~/Applications" or "/Applications", as the user knows these folders.
QString installedFolderText(const QString &bundle)
{
    const QString folder = FileLocation::deletingLastPathComponent(bundle);
    const QString home = SystemLayout::homeFolder();
    if (folder == home || folder.startsWith(home + QLatin1Char('/')))
        return QLatin1Char('~') + folder.mid(home.size());
    return SystemLayout::pathRelativeToRoot(folder);
}

} // namespace

QVariant ApplicationListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_applications.size())
        return {};
    const InstalledApplication &app = m_applications.at(index.row());
    switch (role) {
    case IdRole:
        return app.id();
    case UrlRole:
        return app.url;
    case Qt::DisplayRole:
    case NameRole:
        return app.name;
    case BundleIdentifierRole:
        return app.bundleIdentifier.value_or(QString());
    case VersionRole:
        return app.version;
    case DetailRole:
        return app.bundleIdentifier.value_or(app.url);
    case AppSizeRole:
        return app.appSize;
    case RelatedSizeRole:
        return app.relatedSize;
    case TotalSizeRole:
        return app.totalSize();
    case TotalSizeTextRole:
        return Formatters::bytes(app.totalSize());
    case RelatedFilesRole:
        return app.relatedFiles;
    case RelatedCountRole:
        return int(app.relatedFiles.size());
    case IconUrlRole: {
        const QString icon = m_iconPaths.value(app.id());
        return icon.isEmpty() ? QUrl() : QUrl::fromLocalFile(icon);
    }
    case InstalledFolderRole:
        return m_installedTwice.contains(app.id()) ? installedFolderText(app.url) : QString();
    case SelectedRole:
        return isSelected(index.row());
    default:
        return {};
    }
}

QHash<int, QByteArray> ApplicationListModel::roleNames() const
{
    return {{IdRole, "itemId"},
            {UrlRole, "url"},
            {NameRole, "name"},
            {BundleIdentifierRole, "bundleIdentifier"},
            {VersionRole, "version"},
            {DetailRole, "detail"},
            {AppSizeRole, "appSize"},
            {RelatedSizeRole, "relatedSize"},
            {TotalSizeRole, "totalSize"},
            {TotalSizeTextRole, "totalSizeText"},
            {RelatedFilesRole, "relatedFiles"},
            {RelatedCountRole, "relatedCount"},
            {IconUrlRole, "iconUrl"},
            {InstalledFolderRole, "installedFolder"},
            {SelectedRole, "selected"}};
}
