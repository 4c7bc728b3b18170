#include "UninstallerScanner.h"

#include "ApplicationInventory.h"
#include "FileSystem.h"
#include "SystemLayout.h"
#include "Trash.h"

#include <QTimer>
#include <algorithm>

namespace {

struct Inventory
{
    QList<InstalledApplication> applications;
    QHash<QString, QString> iconPaths; // by application identifier
};

} // namespace

UninstallerScanner::UninstallerScanner(QObject *parent)
    : ScannerBase(QStringLiteral("Preparando análisis de aplicaciones…"), parent)
{
    // The first analysis starts on the next turn of the event loop, and not at
    // all if the scanner is gone by then.
    QTimer::singleShot(0, this, [this] { scanApplications(); });
}

QList<InstalledApplication> UninstallerScanner::selectedApplications() const
{
    return Selection::selectedItems(applications(), m_selected,
                                    [](const InstalledApplication &app) { return app.id(); });
}

qint64 UninstallerScanner::selectedSize() const
{
    qint64 total = 0;
    for (const InstalledApplication &app : selectedApplications())
        total += app.totalSize();
    return total;
}

void UninstallerScanner::setSelectedApplicationIDs(const QSet<QString> &ids)
{
    if (ids == m_selected)
        return;
    m_selected = ids;
    m_model.setSelection(m_selected);
    Q_EMIT selectionChanged();
}

void UninstallerScanner::setSelectedApplicationIDList(const QStringList &ids)
{
    setSelectedApplicationIDs(QSet<QString>(ids.cbegin(), ids.cend()));
}

void UninstallerScanner::setApplications(const QList<InstalledApplication> &applications,
                                         const QHash<QString, QString> &iconPaths)
{
    if (applications == m_model.applications() && iconPaths == m_model.iconPaths())
        return;
    m_model.setApplications(applications, iconPaths);
    m_model.setSelection(m_selected);
    Q_EMIT applicationsChanged();
    Q_EMIT selectionChanged(); // the selected figures are read through the list
}

void UninstallerScanner::setUninstalling(bool uninstalling)
{
    publish(m_isUninstalling, uninstalling, &UninstallerScanner::isUninstallingChanged);
}

void UninstallerScanner::scanApplications()
{
    if (deferWhileRemoving([this] { scanApplications(); }))
        return;
    setApplications({}, {});
    setSelectedApplicationIDs({});
    setErrorMessage(QString());
    setScanning(true);
    setStatusText(QStringLiteral("Analizando aplicaciones instaladas…"));

    const QStringList roots{SystemLayout::systemApplicationsFolder(),
                            SystemLayout::userApplicationsFolder()};
    const QString library = SystemLayout::userLibraryFolder();
    m_roots.clear();
    for (const QString &root : roots)
        m_roots.append(ScanRoot::resolve(root));
    m_libraryRoot = ScanRoot::resolve(library);
    runWalk<Inventory>(
        [roots, library] {
            Inventory inventory;
            for (ApplicationInventory::FoundApplication &found :
                 ApplicationInventory::findApplicationsWithIcons(roots, library)) {
                if (!found.iconPath.isEmpty())
                    inventory.iconPaths.insert(found.application.id(), found.iconPath);
                inventory.applications.append(std::move(found.application));
            }
            return WalkOutcome<Inventory>::success(std::move(inventory));
        },
        [this](Inventory inventory) {
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
            setErrorMessage(error);
            setStatusText(QStringLiteral("No fue posible analizar las aplicaciones."));
            setScanning(false);
        });
}

ScanRoot UninstallerScanner::rootOf(const InstalledApplication &app) const
{
    const QString folder = FileLocation::deletingLastPathComponent(app.id());
    for (const ScanRoot &root : m_roots)
        if (root.path == folder)
            return root;
    return {};
}

void UninstallerScanner::toggleSelection(const QString &applicationId)
{
    QSet<QString> ids = m_selected;
    Selection::toggle(ids, applicationId);
    setSelectedApplicationIDs(ids);
}

void UninstallerScanner::uninstallSelected()
{
    const QList<InstalledApplication> selected = selectedApplications();
    if (selected.isEmpty()) {
        setErrorMessage(QStringLiteral("Selecciona una aplicación."));
        return;
    }
    if (isRemoving())
        return;
    setUninstalling(true);
    setErrorMessage(QString());
    QList<std::pair<InstalledApplication, ScanRoot>> removals;
    for (const InstalledApplication &app : selected)
        removals.append({app, rootOf(app)});
    runRemoval<Trash::BatchOutcome>(
        [removals, library = m_libraryRoot] { return uninstall(removals, library); },
        [this](const Trash::BatchOutcome &outcome) { publishRemoval(outcome); });
}

Trash::BatchOutcome
UninstallerScanner::uninstall(const QList<std::pair<InstalledApplication, ScanRoot>> &removals,
                              const ScanRoot &library)
{
    // The bundle goes first: while it stays, so do the files it uses. Each is
    // reached from the folder the scan listed it in, and only while it is the
    // entry the scan saw.
    Trash::BatchOutcome outcome;
    for (const auto &[app, root] : removals) {
        if (!Trash::moveToTrash(root, app.url, app.identity)) {
            outcome.failedNames.append(app.name);
            continue;
        }
        for (qsizetype i = 0; i < app.relatedFiles.size(); ++i)
            if (i < app.relatedIdentities.size()) // a leftover that stays is not reported
                Trash::moveToTrash(library, app.relatedFiles.at(i), app.relatedIdentities.at(i));
        outcome.moved.insert(app.id());
    }
    return outcome;
}

void UninstallerScanner::publishRemoval(const Trash::BatchOutcome &outcome)
{
    const auto &[removed, failed] = outcome;
    QList<InstalledApplication> remaining;
    for (const InstalledApplication &app : applications())
        if (!removed.contains(app.id()))
            remaining.append(app);
    setApplications(remaining, m_model.iconPaths());
    setSelectedApplicationIDs(m_selected - removed);
    if (failed.isEmpty())
        setStatusText(
            QStringLiteral("%1 aplicación(es) movidas a la Papelera.").arg(removed.size()));
    else
        setErrorMessage(QStringLiteral("No fue posible desinstalar: %1.")
                            .arg(failed.join(QStringLiteral(", "))));
    setUninstalling(false);
}
