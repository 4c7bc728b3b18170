#include "UninstallerScanner.h"

#include "ApplicationInventory.h"
#include "FileLocation.h"
#include "FileSystem.h"
#include "Formatters.h"
#include "SystemLayout.h"
#include "Trash.h"

#include <QTimer>
#include <QUrl>
#include <algorithm>

namespace {

struct Inventory
{
    QList<InstalledApplication> applications;
    QHash<QString, QString> iconPaths; // by application identifier
    QList<ResolvedRoot> roots;         // where the applications were found
    ResolvedRoot libraryRoot;          // where their related entries were
};

} // namespace

UninstallerScanner::UninstallerScanner(QObject *parent)
    : ScannerBase(QStringLiteral("Preparando análisis de aplicaciones…"), parent),
      m_applications(
          {[](const InstalledApplication &app) { return app.totalSize(); },
           {},
           {{"itemId", [](const InstalledApplication &app) { return QVariant(app.id()); }},
            {"url", [](const InstalledApplication &app) { return QVariant(app.url); }},
            {"name",
             [](const InstalledApplication &app) {
                 return QVariant(FileLocation::displayText(app.name));
             }},
            {"bundleIdentifier",
             [](const InstalledApplication &app) {
                 return QVariant(app.bundleIdentifier.value_or(QString()));
             }},
            {"version", [](const InstalledApplication &app) { return QVariant(app.version); }},
            // The identifier, or the bundle's path without one.
            {"detail",
             [](const InstalledApplication &app) {
                 return QVariant(FileLocation::displayText(app.bundleIdentifier.value_or(app.url)));
             }},
            {"appSize", [](const InstalledApplication &app) { return QVariant(app.appSize); }},
            {"relatedSize",
             [](const InstalledApplication &app) { return QVariant(app.relatedSize); }},
            {"totalSize",
             [](const InstalledApplication &app) { return QVariant(app.totalSize()); }},
            {"totalSizeText",
             [](const InstalledApplication &app) {
                 return QVariant(Formatters::bytes(app.totalSize()));
             }},
            {"relatedFiles",
             [](const InstalledApplication &app) { return QVariant(app.relatedFiles); }},
            {"relatedCount",
             [](const InstalledApplication &app) {
                 return QVariant(int(app.relatedFiles.size()));
             }},
            {"relatedDetails",
             [this](const InstalledApplication &app) {
                 QVariantList details;
                 for (const LeftoverOwnership::Decision &d : relatedDecisions(app))
                     details.append(QVariantMap{
                         {QStringLiteral("url"), FileLocation::displayText(d.url)},
                         {QStringLiteral("matchedBy"),
                          d.byIdentifier ? QStringLiteral("identifier") : QStringLiteral("name")},
                         {QStringLiteral("kept"), d.kept},
                         {QStringLiteral("keptBecause"),
                          FileLocation::displayText(d.keptBecause)}});
                 return QVariant(details);
             }},
            {"iconUrl",
             [this](const InstalledApplication &app) {
                 const QString icon = m_iconPaths.value(app.id());
                 return QVariant(icon.isEmpty() ? QUrl() : QUrl::fromLocalFile(icon));
             }},
            {"installedFolder", [this](const InstalledApplication &app) {
                 return QVariant(FileLocation::displayText(installedFolder(app)));
             }}}})
{
    setResults(&m_applications);
    setOperationModule(QStringLiteral("uninstaller"));
    // What would stay with an uninstall depends on what else goes with it, and
    // on what else is installed.
    connect(&m_applications, &ResultModel::selectionChanged, this,
            &UninstallerScanner::selectedKeptCountChanged);
    connect(this, &UninstallerScanner::applicationsChanged, this,
            &UninstallerScanner::selectedKeptCountChanged);
    connect(&m_applications, &ResultModel::selectionChanged, this, [this] {
        if (m_applications.count() > 0)
            Q_EMIT m_applications.dataChanged(m_applications.index(0),
                                              m_applications.index(m_applications.count() - 1),
                                              {m_applications.role("relatedDetails")});
    });
    // The first analysis starts on the next turn of the event loop, and not at
    // all if the scanner is gone by then.
    QTimer::singleShot(0, this, [this] { scanApplications(); });
}

void UninstallerScanner::setApplications(const QList<InstalledApplication> &applications,
                                         const QHash<QString, QString> &iconPaths)
{
    if (applications == m_applications.items() && iconPaths == m_iconPaths)
        return;
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
    m_applications.setItems(applications);
    Q_EMIT applicationsChanged();
}

// "~/Applications" or "/Applications", as the user knows these folders, for an
// application listed more than once; else empty.
QString UninstallerScanner::installedFolder(const InstalledApplication &app) const
{
    if (!m_installedTwice.contains(app.id()))
        return QString();
    const QString folder = FileLocation::deletingLastPathComponent(app.url);
    const QString home = SystemLayout::homeFolder();
    if (folder == home || folder.startsWith(home + QLatin1Char('/')))
        return QLatin1Char('~') + folder.mid(home.size());
    return SystemLayout::pathRelativeToRoot(folder);
}

void UninstallerScanner::scanApplications()
{
    if (deferWhileRemoving([this] { scanApplications(); }))
        return;
    m_applications.clearSelection();
    setApplications({}, {});
    setErrorMessage(QString());
    setScanning(true);
    setStatusText(QStringLiteral("Analizando aplicaciones instaladas…"));

    const QStringList roots{SystemLayout::systemApplicationsFolder(),
                            SystemLayout::userApplicationsFolder()};
    const QString library = SystemLayout::userLibraryFolder();
    runWalk<Inventory>(
        [roots, library] {
            Inventory inventory;
            // Resolved here, off the main thread, before the walk meets any entry.
            for (const QString &root : roots)
                inventory.roots.append(ResolvedRoot::resolve(root));
            inventory.libraryRoot = ResolvedRoot::resolve(library);
            for (ApplicationInventory::FoundApplication &found :
                 ApplicationInventory::findApplicationsWithIcons(roots, library)) {
                if (!found.iconPath.isEmpty())
                    inventory.iconPaths.insert(found.application.id(), found.iconPath);
                inventory.applications.append(std::move(found.application));
            }
            return WalkOutcome<Inventory>::success(std::move(inventory));
        },
        [this](Inventory inventory) {
            m_roots = std::move(inventory.roots);
            m_libraryRoot = std::move(inventory.libraryRoot);
            QList<InstalledApplication> &found = inventory.applications;
            // Largest first; equal totals keep the order of discovery.
            std::stable_sort(found.begin(), found.end(),
                             [](const InstalledApplication &a, const InstalledApplication &b) {
                                 return a.totalSize() > b.totalSize();
                             });
            setApplications(found, inventory.iconPaths);
            setStatusText(
                found.isEmpty()
                    ? QStringLiteral("No se encontraron aplicaciones.")
                    : QStringLiteral("Se encontraron %1 aplicaciones.").arg(found.size()));
            countCompletedScan();
            setScanning(false);
        },
        [this](const QString &error) {
            failScan(error, QStringLiteral("No fue posible analizar las aplicaciones."));
        });
}

ResolvedRoot UninstallerScanner::rootOf(const InstalledApplication &app) const
{
    const QString folder = FileLocation::deletingLastPathComponent(app.id());
    for (const ResolvedRoot &root : m_roots)
        if (root.path == folder)
            return root;
    return {};
}

QList<LeftoverOwnership::Decision>
UninstallerScanner::relatedDecisions(const InstalledApplication &app) const
{
    QList<InstalledApplication> staying;
    for (const InstalledApplication &other : applications())
        if (other.id() != app.id() && !m_applications.selection().contains(other.id()))
            staying.append(other);
    return LeftoverOwnership::decide(app, staying);
}

namespace {

// The applications that stay when `leaving` go.
QList<InstalledApplication> stayingWithout(const QList<InstalledApplication> &all,
                                           const QSet<QString> &leaving)
{
    QList<InstalledApplication> staying;
    for (const InstalledApplication &app : all)
        if (!leaving.contains(app.id()))
            staying.append(app);
    return staying;
}

} // namespace

UninstallerScanner::UninstallPlan UninstallerScanner::uninstallPlan() const
{
    // Only what is each application's own goes with it: an entry that another
    // staying application matches as well or better, a weak match, Apple's
    // and Velmora's own stay. An entry two leaving applications share goes
    // once.
    const QList<InstalledApplication> staying =
        stayingWithout(applications(), m_applications.selection());
    UninstallPlan plan;
    QSet<QString> moving;
    QStringList keptByOne;
    for (InstalledApplication app : selectedApplications()) {
        const QList<LeftoverOwnership::Decision> decisions =
            LeftoverOwnership::decide(app, staying);
        QStringList files;
        QList<FileIdentity> identities;
        for (qsizetype i = 0; i < decisions.size(); ++i) {
            const QString &url = decisions.at(i).url;
            if (decisions.at(i).kept) {
                if (!keptByOne.contains(url))
                    keptByOne.append(url);
            } else if (i < app.relatedIdentities.size() && !moving.contains(url)) {
                moving.insert(url);
                files.append(url);
                identities.append(app.relatedIdentities.at(i));
            }
        }
        app.relatedFiles = files;
        app.relatedIdentities = identities;
        plan.applications.append(app);
    }
    for (const QString &url : keptByOne)
        if (!moving.contains(url))
            plan.kept.append(url);
    return plan;
}

QList<InstalledApplication>
UninstallerScanner::remainingAfter(const QList<InstalledApplication> &listed,
                                   const QSet<QString> &removed)
{
    // The applications that stay lose the related entries they shared with
    // what went; their sizes are measured again. The list itself is not.
    QList<InstalledApplication> remaining;
    for (InstalledApplication app : listed) {
        if (removed.contains(app.id()))
            continue;
        QStringList related;
        QList<FileIdentity> identities;
        for (qsizetype i = 0; i < app.relatedFiles.size(); ++i) {
            if (!FileSystem::resourceValues(app.relatedFiles.at(i)))
                continue;
            related.append(app.relatedFiles.at(i));
            if (i < app.relatedIdentities.size())
                identities.append(app.relatedIdentities.at(i));
        }
        if (related.size() != app.relatedFiles.size()) {
            app.relatedFiles = related;
            app.relatedIdentities = identities;
            app.relatedSize = 0;
            for (const QString &entry : related)
                app.relatedSize += ApplicationInventory::folderSize(entry);
        }
        remaining.append(app);
    }
    return remaining;
}

int UninstallerScanner::selectedKeptCount() const
{
    return int(uninstallPlan().kept.size());
}

void UninstallerScanner::uninstallSelected()
{
    const UninstallPlan plan = uninstallPlan();
    const int kept = int(plan.kept.size());
    QList<std::pair<InstalledApplication, ResolvedRoot>> removals;
    for (const InstalledApplication &app : plan.applications)
        removals.append({app, rootOf(app)});
    removeItems(
        removals, QStringLiteral("Selecciona una aplicación."),
        [library = m_libraryRoot, listed = applications()](
            const QList<std::pair<InstalledApplication, ResolvedRoot>> &removals) {
            UninstallOutcome out;
            static_cast<Trash::BatchOutcome &>(out) = uninstall(removals, library);
            out.remaining = remainingAfter(listed, out.moved);
            return out;
        },
        [this](const UninstallOutcome &outcome) {
            m_applications.setSelection(m_applications.selection() - outcome.moved);
            setApplications(outcome.remaining,
                            m_iconPaths); // whoever was listed twice may not be now
        },
        [this, kept](const Trash::BatchOutcome &outcome) {
            if (outcome.allMoved())
                setStatusText(
                    QStringLiteral("%1 aplicación(es) movidas a la Papelera.")
                        .arg(outcome.moved.size()) +
                    (kept > 0 ? QStringLiteral(" Se conservaron %1 archivo(s) relacionados que "
                                               "pueden ser de otras aplicaciones o del sistema.")
                                    .arg(kept)
                              : QString()));
            else
                setErrorMessage(
                    removalError(outcome, QStringLiteral("No fue posible desinstalar: ")));
        });
}

Trash::BatchOutcome
UninstallerScanner::uninstall(const QList<std::pair<InstalledApplication, ResolvedRoot>> &removals,
                              const ResolvedRoot &library)
{
    // The bundle goes first: while it stays, so do the files it uses. Each is
    // reached from the folder the scan listed it in, and only while it is the
    // entry the scan saw.
    // The quarantine is Velmora's own: a leftover that is it, holds it or lies
    // in it stays, whatever name matched.
    const QString quarantine = SystemLayout::quarantineFolder();
    const auto touchesQuarantine = [&](const QString &path) {
        return path == quarantine || quarantine.startsWith(path + QLatin1Char('/')) ||
               path.startsWith(quarantine + QLatin1Char('/'));
    };
    Trash::BatchOutcome outcome;
    for (const auto &[app, root] : removals) {
        const Trash::Outcome bundle = Trash::moveScanned(root, app.url, app.identity);
        if (bundle != Trash::Outcome::moved) {
            outcome.add(app.id(), app.name, bundle);
            continue;
        }
        for (qsizetype i = 0; i < app.relatedFiles.size(); ++i)
            // A leftover that stays is not reported.
            if (i < app.relatedIdentities.size() && !touchesQuarantine(app.relatedFiles.at(i)))
                Trash::moveToTrash(library, app.relatedFiles.at(i), app.relatedIdentities.at(i));
        outcome.moved.insert(app.id());
    }
    return outcome;
}
