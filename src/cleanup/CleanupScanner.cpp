#include "CleanupScanner.h"

#include "CleanupRules.h"
#include "FileLocation.h"
#include "FileSystem.h"
#include "FileWalker.h"
#include "Formatters.h"
#include "SystemLayout.h"
#include "Trash.h"
#include "WalkControl.h"
#include "WorkQueue.h"

#include <QPointer>
#include <QTimer>
#include <algorithm>
#include <cerrno>

CleanupScanner::CleanupScanner(QObject *parent)
    : ScannerBase(QStringLiteral("Preparando la ruta fija de cachés…"), parent),
      m_items(
          {[](const CleanupItem &item) { return item.size; },
           [](const CleanupItem &item) { return !item.isProtected; },
           fileRoles<CleanupItem>() +
               QList<ResultRole<CleanupItem>>{
                   {"displayName",
                    [](const CleanupItem &item) {
                        return QVariant(FileLocation::displayText(item.displayName));
                    }},
                   {"itemCount", [](const CleanupItem &item) { return QVariant(item.itemCount); }},
                   {"dateText",
                    [](const CleanupItem &item) {
                        return item.modificationDateMs
                                   ? QVariant(Formatters::mediumDate(
                                         QDateTime::fromMSecsSinceEpoch(*item.modificationDateMs)))
                                   : QVariant(QString());
                    }},
                   {"isDirectory",
                    [](const CleanupItem &item) { return QVariant(item.isDirectory); }},
                   {"isProtected",
                    [](const CleanupItem &item) { return QVariant(item.isProtected); }},
                   {"protectionReason",
                    [](const CleanupItem &item) { return QVariant(item.protectionReason); }}}}),
      m_runningApplications(&RunningApplications::list), m_clock(&QDateTime::currentDateTimeUtc)
{
    setResults(&m_items);
    setOperationModule(QStringLiteral("cleanup"));
    // The folder itself is resolved with each scan, off the main thread.
    setStatusText(QStringLiteral("Ruta automática lista: ~/Library/Caches"));
    // The first analysis starts on the next turn of the event loop, and not at
    // all if the scanner is gone by then.
    QTimer::singleShot(0, this, [this] { scan(); });
}

void CleanupScanner::setCachesPlace(const QString &caches, const QString &home)
{
    m_accessRootURL = home;
    if (caches != m_cachesURL) {
        m_cachesURL = caches;
        Q_EMIT cachesURLChanged();
    }
}

QList<CleanupItem> CleanupScanner::safeItems() const
{
    QList<CleanupItem> safe;
    for (const CleanupItem &item : items())
        if (!item.isProtected)
            safe.append(item);
    return safe;
}

void CleanupScanner::setItems(const QList<CleanupItem> &items)
{
    // Unchanged lists are not announced: a screen re-selects when the list changes.
    if (items == m_items.items())
        return;
    m_items.setItems(items);
    updateRecommendation();
    Q_EMIT itemsChanged();
}

void CleanupScanner::scan()
{
    if (deferWhileRemoving([this] { scan(); }))
        return;
    // Scanning first: a screen that re-selects when the list changes while idle
    // must not react to the list being emptied here.
    setErrorMessage(QString());
    setScanning(true);
    setItems({});
    m_items.clearSelection();
    setStatusText(QStringLiteral("Calculando el espacio ocupado por las cachés…"));

    struct Scan
    {
        QList<CleanupItem> found;
        QList<RunningApplication> running;
        QString home;
        ResolvedRoot root;
    };
    runWalk<Scan>(
        [homeFolder = SystemLayout::homeFolder(),
         running = m_runningApplications]() -> WalkOutcome<Scan> {
            // Resolved anew for every scan, off the main thread: a link put in
            // place since the last one counts.
            const QString home = FileLocation::resolvingSymlinksInPath(homeFolder);
            const QString caches =
                home.isEmpty()
                    ? QString()
                    : FileLocation::resolvingSymlinksInPath(FileLocation::appendingPathComponent(
                          home, QStringLiteral("Library/Caches")));
            if (caches.isEmpty())
                return WalkOutcome<Scan>::failure(
                    QStringLiteral("No fue posible localizar ~/Library/Caches."));
            ResolvedRoot root = ResolvedRoot::resolve(caches);
            WalkOutcome<QList<CleanupItem>> found = scanTopLevelCaches(root, home);
            if (!found.value)
                return WalkOutcome<Scan>::failure(found.error);
            // Read with the caches: what runs now is what the list's
            // recommendations and "in use" marks are about.
            return WalkOutcome<Scan>::success(
                {std::move(*found.value), running(), home, std::move(root)});
        },
        [this](Scan scan) {
            setCachesPlace(scan.root.path, scan.home);
            m_root = std::move(scan.root);
            m_running = std::move(scan.running);
            QList<CleanupItem> &found = scan.found;
            // Unprotected first, then larger first; ties keep the listing order.
            std::stable_sort(found.begin(), found.end(),
                             [](const CleanupItem &a, const CleanupItem &b) {
                                 if (a.isProtected != b.isProtected)
                                     return !a.isProtected;
                                 return a.size > b.size;
                             });
            setItems(found);
            setStatusText(
                found.isEmpty()
                    ? QStringLiteral("No se encontraron cachés visibles.")
                    : QStringLiteral("Se encontraron %1 elementos de caché.").arg(found.size()));
            setScanning(false);
            if (errorMessage().isEmpty()) {
                // Whoever hears of the finished scan finds the selection made.
                if (const QString selected = selectAutomatically(); !selected.isEmpty())
                    setStatusText(selected);
                countCompletedScan();
            }
        },
        [this](const QString &error) {
            failScan(error, QStringLiteral("No fue posible analizar las cachés."));
        });
}

namespace {

// What the platform says when a folder cannot be listed.
QString listingError(const QString &folder, int error)
{
    const QString name = FileLocation::lastPathComponent(folder);
    switch (error) {
    case ENOENT:
        return QStringLiteral("No se ha podido abrir la carpeta “%1” porque no existe.").arg(name);
    case EACCES:
    case EPERM:
        return QStringLiteral("No se ha podido abrir la carpeta “%1” porque no tienes permiso para "
                              "ver su contenido.")
            .arg(name);
    case ENOTDIR:
        return QStringLiteral("No se ha podido abrir “%1” porque no es una carpeta.").arg(name);
    default:
        return QStringLiteral("No se ha podido abrir la carpeta “%1”.").arg(name);
    }
}

} // namespace

WalkOutcome<QList<CleanupItem>> CleanupScanner::scanTopLevelCaches(const ResolvedRoot &root,
                                                                   const QString &home)
{
    // A cache folder that leads to the home, or to a folder holding it, would
    // list the user's own folders as caches. It is judged by where it really
    // is now, and listed only while it is still the folder the scan resolved.
    const QString folder = root.path;
    const ResolvedRoot now = ResolvedRoot::resolve(folder);
    const QString real = now.isValid() ? now.resolved : folder;
    const QString realHome = FileLocation::resolvingSymlinksInPath(home);
    const bool holdsHome = real == realHome || realHome.startsWith(real + QLatin1Char('/')) ||
                           real == QLatin1String("/");
    const bool swapped =
        root.isValid() && now.isValid() &&
        (now.identity.device != root.identity.device || now.identity.inode != root.identity.inode);
    if (holdsHome || swapped)
        return WalkOutcome<QList<CleanupItem>>::failure(
            QStringLiteral("No se analizó ~/Library/Caches: lleva a “%1”, tu carpeta de inicio "
                           "o una carpeta que la contiene.")
                .arg(real));
    int error = 0;
    const auto children = FileSystem::listDirectory(folder, true, &error);
    if (!children)
        return WalkOutcome<QList<CleanupItem>>::failure(listingError(folder, error));
    QList<EntryInfo> listed;
    for (const EntryInfo &child : *children) {
        if (child.isSymbolicLink)
            continue;
        if (!child.isReadable) {
            WalkControl::countSkipped(child.path, WalkControl::SkipReason::unreadable);
            continue;
        }
        listed.append(child);
    }
    // Each cache is measured as one unit of work.
    QList<CleanupItem> items(listed.size());
    CleanupItem *measured = items.data(); // each unit writes only its own item
    parallelFor(listed.size(), [&](qsizetype i) {
        const EntryInfo &child = listed.at(i);
        CleanupItem &item = measured[i];
        item.url = child.path;
        item.name = child.name;
        item.displayName = CleanupRules::readableName(child.name);
        if (child.isDirectory) {
            std::tie(item.size, item.itemCount) = folderStatistics(child.path);
        } else {
            item.size = child.fileSize;
            item.itemCount = child.isRegularFile ? 1 : 0;
        }
        item.modificationDateMs = child.modificationTimeMs;
        item.identity = {child.device, child.inode, child.fileSize, child.modificationTimeMs};
        item.isDirectory = child.isDirectory;
        const CleanupRules::Protection protection = CleanupRules::protectionInfo(child.name);
        item.isProtected = protection.isProtected;
        item.protectionReason = protection.reason;
    });
    return WalkOutcome<QList<CleanupItem>>::success(items);
}

std::pair<qint64, int> CleanupScanner::folderStatistics(const QString &folder)
{
    qint64 size = 0;
    int count = 0;
    // Package contents count like any folder's; hidden entries do not. A cache
    // swapped for a link since it was listed is not followed.
    FileWalker::walk(folder, SkipHiddenFiles | DoNotFollowRootLink, [&](const EntryInfo &entry) {
        if (entry.isRegularFile && entry.isReadable && !entry.isSymbolicLink) {
            size += entry.fileSize;
            ++count;
        }
        return FileWalker::Action::Continue;
    });
    return {size, count};
}

void CleanupScanner::selectAllSafe()
{
    m_items.selectAll(); // every unprotected cache
}

void CleanupScanner::moveSelectedToTrash()
{
    if (!selectedItems().isEmpty() && (m_cachesURL.isEmpty() || m_accessRootURL.isEmpty())) {
        setErrorMessage(QStringLiteral("No fue posible acceder a la ruta automática de cachés."));
        return;
    }
    removeItems(
        selectedItems(), QStringLiteral("Primero selecciona una o más cachés."),
        [root = m_root](const QList<CleanupItem> &items) {
            return Trash::moveEachToTrash(items, root);
        },
        [this](const QSet<QString> &moved) {
            if (moved.isEmpty())
                return; // what failed stays as it was, selected
            m_items.setSelection(m_items.selection() - moved);
            QList<CleanupItem> remaining;
            for (const CleanupItem &item : items())
                if (!moved.contains(item.id()))
                    remaining.append(item);
            setItems(remaining);
            // The smart selection starts again on what is left; what was just
            // moved is still said, before what is selected now.
            if (const QString selected = selectAutomatically(); !selected.isEmpty())
                setStatusText(statusText() + QLatin1Char(' ') + selected);
        },
        [this](const Trash::BatchOutcome &outcome) { reportRemoval(outcome); });
}

void CleanupScanner::reportRemoval(const Trash::BatchOutcome &outcome)
{
    const qsizetype moved = outcome.moved.size();
    if (outcome.allMoved()) {
        setStatusText(moved == 1
                          ? QStringLiteral("1 caché fue enviada a la Papelera.")
                          : QStringLiteral("%1 cachés fueron enviadas a la Papelera.").arg(moved));
        return;
    }
    setStatusText(QStringLiteral("%1 cachés enviadas a la Papelera.").arg(moved));
    // Closing the application helps only with caches that are really in use.
    setErrorMessage(removalError(outcome, QStringLiteral("No fue posible mover: "),
                                 QStringLiteral(" Cierra la aplicación relacionada y vuelve a "
                                                "intentar.")));
}

bool CleanupScanner::isProbablyInUse(const CleanupItem &item) const
{
    return CleanupRules::isProbablyInUse(item, m_running);
}

QList<CleanupItem> CleanupScanner::recommendedItems(SmartCleanupMode mode) const
{
    return recommendedItems(mode, m_running);
}

QList<CleanupItem> CleanupScanner::recommendedItems(SmartCleanupMode mode,
                                                    const QList<RunningApplication> &running) const
{
    const qint64 nowMs = m_clock().toMSecsSinceEpoch();
    QList<CleanupItem> kept;
    for (const CleanupItem &item : safeItems()) {
        if (item.size < SmartCleanupModes::minimumSize(mode))
            continue;
        if (CleanupRules::isProbablyInUse(item, running))
            continue;
        std::optional<qint64> age;
        if (item.modificationDateMs)
            age = (nowMs - *item.modificationDateMs) / 1000;
        if (SmartCleanupModes::keeps(mode, item.size, age))
            kept.append(item);
    }
    return kept;
}

void CleanupScanner::selectRecommended(SmartCleanupMode mode)
{
    setStatusText(applyRecommendation(mode));
}

QString CleanupScanner::applyRecommendation(SmartCleanupMode mode)
{
    QSet<QString> ids;
    for (const CleanupItem &item : recommendedItems(mode))
        ids.insert(item.id());
    setSelectedItemIDs(ids);

    if (!ids.isEmpty())
        return QStringLiteral("%1 caché(s) seleccionadas automáticamente.").arg(ids.size());
    int inUse = 0;
    for (const CleanupItem &item : safeItems())
        if (CleanupRules::isProbablyInUse(item, m_running))
            ++inUse;
    if (inUse > 0)
        return QStringLiteral("No hay cachés seguras disponibles. %1 pertenecen a aplicaciones "
                              "abiertas; ciérralas y vuelve a analizar.")
            .arg(inUse);
    return QStringLiteral("No hay cachés recomendadas para el modo %1.")
        .arg(SmartCleanupModes::rawValue(mode));
}

SmartCleanupMode CleanupScanner::modeFor(const QString &title) const
{
    return SmartCleanupModes::fromRawValue(title).value_or(SmartCleanupMode::balanced);
}

void CleanupScanner::setRecommendationMode(const QString &mode)
{
    const SmartCleanupMode chosen = modeFor(mode);
    if (chosen == m_mode)
        return;
    m_mode = chosen;
    updateRecommendation();
}

void CleanupScanner::updateRecommendation()
{
    const QList<RunningApplication> &running = m_running;
    QStringList ids;
    qint64 size = 0;
    for (const CleanupItem &item : recommendedItems(m_mode, running)) {
        ids.append(item.id());
        size += item.size;
    }
    // Every mode leaves out what an open application uses, whatever its size
    // and age; the rows say which application.
    QVariantMap inUse;
    for (const CleanupItem &item : safeItems())
        if (const RunningApplication *app = CleanupRules::inUseBy(item, running))
            inUse.insert(item.id(), FileLocation::displayText(app->localizedName.isEmpty()
                                                                  ? app->bundleIdentifier
                                                                  : app->localizedName));
    m_inUseApplications = inUse;
    m_recommendedIDs = ids;
    m_recommendedSize = size;
    Q_EMIT recommendationChanged();
}

void CleanupScanner::selectRecommended(const QString &mode)
{
    selectRecommended(modeFor(mode));
}

void CleanupScanner::setAutomation(CleanupAutomationSettings *settings)
{
    if (settings == m_automation)
        return;
    if (m_automation)
        disconnect(m_automation, nullptr, this, nullptr);
    m_automation = settings;
    if (settings) {
        setRecommendationMode(settings->modeTitle());
        connect(settings, &CleanupAutomationSettings::modeChanged, this, [this] {
            setRecommendationMode(m_automation->modeTitle());
            if (itemCount() == 0)
                return;
            if (const QString selected = selectAutomatically(); !selected.isEmpty())
                setStatusText(selected);
        });
    }
    Q_EMIT automationChanged();
}

QString CleanupScanner::selectAutomatically()
{
    if (m_automation && m_automation->autoSelectAfterScan())
        return applyRecommendation(m_automation->mode());
    return {};
}

void CleanupScanner::setRunningApplicationsSource(RunningApplicationsSource source)
{
    m_runningApplications = std::move(source);
}
