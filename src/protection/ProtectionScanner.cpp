#include "ProtectionScanner.h"

#include "FileLocation.h"
#include "FileSystem.h"
#include "FileWalker.h"
#include "Formatters.h"
#include "Preferences.h"
#include "SystemLayout.h"
#include "WorkQueue.h"

#include <QDateTime>
#include <QtConcurrent/QtConcurrentRun>
#include <unistd.h>
#include <utility>

namespace {

QVariant optionalString(const std::optional<QString> &value)
{
    return value ? QVariant(*value) : QVariant();
}

} // namespace

ProtectionScanner::ProtectionScanner(QObject *parent)
    : ScannerBase(QStringLiteral("Rutas automáticas listas para el análisis completo."), parent),
      m_findings(
          {[](const SecurityFinding &f) { return f.size; },
           [this](const SecurityFinding &f) { return canSelect(f); },
           fileRoles<SecurityFinding>() +
               QList<ResultRole<SecurityFinding>>{
                   {"path",
                    [](const SecurityFinding &f) {
                        return QVariant(FileLocation::displayText(f.path));
                    }},
                   {"type",
                    [](const SecurityFinding &f) { return QVariant(Threat::title(f.type)); }},
                   {"level", [](const SecurityFinding &f) { return QVariant(int(f.level)); }},
                   {"levelBadge",
                    [](const SecurityFinding &f) { return QVariant(Threat::badge(f.level)); }},
                   {"levelSymbol",
                    [](const SecurityFinding &f) { return QVariant(Threat::symbol(f.level)); }},
                   {"levelColour",
                    [](const SecurityFinding &f) { return QVariant(Threat::colour(f.level)); }},
                   {"reasons", [](const SecurityFinding &f) { return QVariant(f.reasons); }},
                   {"bundleIdentifier",
                    [](const SecurityFinding &f) { return optionalString(f.bundleIdentifier); }},
                   {"teamIdentifier",
                    [](const SecurityFinding &f) { return optionalString(f.teamIdentifier); }},
                   {"signatureDescription",
                    [](const SecurityFinding &f) { return QVariant(f.signatureDescription); }},
                   {"trusted",
                    [this](const SecurityFinding &f) {
                        return QVariant(m_trustStore->isTrusted(f.id()));
                    }},
                   {"canSelect",
                    [this](const SecurityFinding &f) { return QVariant(canSelect(f)); }}}}),
      m_signatureOf(&CodeSignature::signatureInformation)
{
    setResults(&m_findings);
    connect(&m_findings, &ResultModel::modelReset, this, &ProtectionScanner::findingsChanged);
    connect(m_trustStore, &ProtectionTrustStore::trustedIDsChanged, &m_findings,
            &ResultList<SecurityFinding>::refreshSelectable);
    configureAutomaticLocations();
}

void ProtectionScanner::setTrustStore(ProtectionTrustStore *store)
{
    if (!store)
        store = &m_storedTrust;
    if (store == m_trustStore)
        return;
    disconnect(m_trustStore, nullptr, &m_findings, nullptr);
    disconnect(m_trustStore, &QObject::destroyed, this, nullptr);
    m_trustStore = store;
    connect(m_trustStore, &ProtectionTrustStore::trustedIDsChanged, &m_findings,
            &ResultList<SecurityFinding>::refreshSelectable);
    // A screen's store goes with the screen; this scanner may outlive it.
    if (store != &m_storedTrust)
        connect(store, &QObject::destroyed, this, [this] {
            m_trustStore = &m_storedTrust;
            m_storedTrust.load(); // what the screen's store saved meanwhile
            connect(m_trustStore, &ProtectionTrustStore::trustedIDsChanged, &m_findings,
                    &ResultList<SecurityFinding>::refreshSelectable);
            m_findings.refreshSelectable();
            Q_EMIT trustStoreChanged();
        });
    m_findings.refreshSelectable();
    Q_EMIT trustStoreChanged();
}

void ProtectionScanner::setQuarantine(ProtectionQuarantineManager *manager)
{
    if (manager == m_quarantine)
        return;
    if (m_quarantine)
        disconnect(m_quarantine, nullptr, this, nullptr);
    m_quarantine = manager; // a guarded pointer: it follows the screen that owns it
    if (manager)
        connect(manager, &ProtectionQuarantineManager::actionEnded, this,
                &ProtectionScanner::quarantineActionEnded);
    Q_EMIT quarantineChanged();
}

bool ProtectionScanner::canSelect(const SecurityFinding &finding) const
{
    return finding.level != ThreatLevel::safe && finding.level != ThreatLevel::protected_ &&
           !m_trustStore->isTrusted(finding.id()) && m_quarantinable.contains(finding.id());
}

void ProtectionScanner::selectRecommendedFindings()
{
    m_findings.setSelection(ProtectionSelection::recommended(
        findings(), m_trustStore->trustedIDList(), m_quarantinable));
}

void ProtectionScanner::toggleTrust(const QString &id)
{
    if (m_trustStore->isTrusted(id)) {
        m_trustStore->untrust(id);
        return;
    }
    QSet<QString> selection = m_findings.selection();
    selection.remove(id);
    m_findings.setSelection(selection);
    m_trustStore->trust(id);
}

void ProtectionScanner::quarantineSelected()
{
    const QList<SecurityFinding> chosen = selectedFindings();
    if (chosen.isEmpty() || !m_quarantine)
        return;
    QPointer<ProtectionScanner> guard(this);
    m_quarantine->quarantine(chosen, [guard](const QSet<QString> &gone) {
        if (!guard)
            return;
        // Moved items left their place; those that failed or were skipped stay.
        guard->m_findings.clearSelection();
        guard->m_findings.remove(gone);
    });
}

void ProtectionScanner::quarantineActionEnded(const QString &status, const QString &restoredPath)
{
    if (!status.isNull() && !isScanning())
        setStatusText(status);
    if (!restoredPath.isNull())
        rateRestored(restoredPath);
}

void ProtectionScanner::rateRestored(const QString &path)
{
    if (isScanning()) {
        m_restoredDuringScan.append(path);
        return;
    }
    if (m_scannedRoots.isEmpty())
        return; // nothing analysed yet: the next scan finds it
    // Rated on the pool like any scanned item: the rules read the disk.
    QPointer<ProtectionScanner> guard(this);
    [[maybe_unused]] QFuture<void> running =
        QtConcurrent::run(WorkPool::pool(), [guard, path, generation = m_listGeneration,
                                             roots = m_scannedRoots, signatureOf = m_signatureOf] {
            std::optional<SecurityFinding> found = analyzeItem(roots, path, signatureOf);
            const bool quarantinable = found && ProtectionQuarantineManager::canQuarantine(*found);
            QMetaObject::invokeMethod(
                QCoreApplication::instance(),
                [guard, path, generation, quarantinable, found = std::move(found)] {
                    if (!guard || guard->m_listGeneration != generation)
                        return; // a newer scan rated it, or will
                    const QString id = FileLocation::standardizedPath(path);
                    QList<SecurityFinding> items = guard->findings();
                    items.removeIf([&](const SecurityFinding &f) { return f.id() == id; });
                    guard->m_quarantinable.remove(id);
                    if (found) {
                        items.append(*found);
                        if (quarantinable)
                            guard->m_quarantinable.insert(found->id());
                    }
                    guard->m_findings.setItems(Findings::sortedUnique(items));
                },
                Qt::QueuedConnection);
        });
}

void ProtectionScanner::configureAutomaticLocations()
{
    m_applicationsURL = SystemLayout::systemApplicationsFolder();
    m_userHomeURL = SystemLayout::homeFolder();
    m_systemLibraryURL = SystemLayout::systemLibraryFolder();
    Q_EMIT locationsChanged();
    setStatusText(
        QStringLiteral("Rutas automáticas listas: /Applications, carpeta personal y /Library."));
}

QList<ScanRoot> ProtectionScanner::automaticRoots() const
{
    const QString h = m_userHomeURL;
    const QString l = m_systemLibraryURL;
    return {
        {m_applicationsURL, ScanRootKind::applications, QStringLiteral("Aplicaciones")},
        {h + QStringLiteral("/Downloads"), ScanRootKind::downloads, QStringLiteral("Descargas")},
        {h + QStringLiteral("/Library/LaunchAgents"), ScanRootKind::launchItems,
         QStringLiteral("Inicio personal")},
        {h + QStringLiteral("/Library/Application Support"), ScanRootKind::applicationSupport,
         QStringLiteral("Soporte personal")},
        {l + QStringLiteral("/LaunchAgents"), ScanRootKind::launchItems,
         QStringLiteral("Agentes del sistema")},
        {l + QStringLiteral("/LaunchDaemons"), ScanRootKind::launchItems,
         QStringLiteral("Servicios del sistema")},
        {l + QStringLiteral("/PrivilegedHelperTools"), ScanRootKind::privilegedHelpers,
         QStringLiteral("Herramientas privilegiadas")}};
}

void ProtectionScanner::runFullScan()
{
    if (m_applicationsURL.isEmpty() || m_userHomeURL.isEmpty() || m_systemLibraryURL.isEmpty())
        configureAutomaticLocations();
    if (m_applicationsURL.isEmpty() || m_userHomeURL.isEmpty() || m_systemLibraryURL.isEmpty()) {
        setErrorMessage(QStringLiteral("No fue posible configurar las rutas automáticas."));
        return;
    }
    m_scannedURL.clear();
    Q_EMIT locationsChanged();
    start(automaticRoots(),
          QStringLiteral("Analizando aplicaciones, descargas, agentes y procesos de inicio…"),
          false);
}

void ProtectionScanner::chooseLocationAndScan()
{
    const FolderRequest request{QStringLiteral("Selecciona una ubicación para analizar"),
                                QStringLiteral("Velmora analizará esta ubicación sin eliminar "
                                               "archivos."),
                                QStringLiteral("Analizar")};
    FolderChooser::current()->choose(request, this,
                                     [this](const QString &folder) { scanCustom(folder); });
}

void ProtectionScanner::scanCustom(const QString &folder)
{
    m_scannedURL = FileLocation::standardizedPath(folder);
    Q_EMIT locationsChanged();
    start({{m_scannedURL, ScanRootKind::custom, FileLocation::lastPathComponent(m_scannedURL)}},
          QStringLiteral("Revisando firmas y archivos ejecutables…"), true);
}

void ProtectionScanner::start(const QList<ScanRoot> &roots, const QString &status, bool custom)
{
    if (deferWhileRemoving([this, roots, status, custom] { start(roots, status, custom); }))
        return;
    m_findings.clearSelection();
    m_findings.setItems({});
    m_scannedRoots.clear();
    ++m_listGeneration;
    setErrorMessage(QString());
    setScanning(true);
    setStatusText(status);
    struct Scan
    {
        QList<SecurityFinding> findings;
        QSet<QString> quarantinable;
    };
    runWalk<Scan>(
        [roots, signatureOf = m_signatureOf]() -> WalkOutcome<Scan> {
            WalkOutcome<QList<SecurityFinding>> found = analyzeRoots(roots, signatureOf);
            if (!found.value)
                return WalkOutcome<Scan>::failure(found.error);
            // Whether an item can go into quarantine asks the disk: here, once
            // per scan, and never while a row is drawn or the selection changes.
            Scan scan{Findings::sortedUnique(*found.value), {}};
            for (const SecurityFinding &f : scan.findings)
                if (ProtectionQuarantineManager::canQuarantine(f))
                    scan.quarantinable.insert(f.id());
            return WalkOutcome<Scan>::success(std::move(scan));
        },
        [this, roots, custom](Scan scan) {
            m_quarantinable = std::move(scan.quarantinable);
            m_scannedRoots = roots;
            m_findings.setItems(scan.findings);
            setStatusText(custom ? QStringLiteral("Se analizaron %1 elementos.").arg(findingCount())
                                 : QStringLiteral("Análisis completo: %1 elementos revisados.")
                                       .arg(findingCount()));
            if (errorMessage().isEmpty()) {
                // Whoever hears of the finished scan finds the selection made.
                selectRecommendedFindings();
                countCompletedScan();
            }
            setScanning(false);
            // What was put back while the walk ran may lie where it had passed.
            for (const QString &path : std::exchange(m_restoredDuringScan, {}))
                rateRestored(path);
        },
        [this](const QString &error) {
            m_restoredDuringScan.clear();
            failScan(error, QStringLiteral("No fue posible completar el análisis."));
        });
}

namespace ProtectionSelection {

QStringList recommended(const QList<SecurityFinding> &findings, const QStringList &trusted,
                        const QSet<QString> &quarantinable)
{
    QStringList ids;
    for (const SecurityFinding &f : findings)
        if ((f.level == ThreatLevel::dangerous || f.level == ThreatLevel::suspicious) &&
            !trusted.contains(f.id()) && quarantinable.contains(f.id()))
            ids.append(f.id());
    return ids;
}

QStringList trustedIDs()
{
    return Preferences::stringList(QStringLiteral("velmora_protection_trusted_ids"));
}

} // namespace ProtectionSelection
