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

const QString kCannotOpen = QStringLiteral("No se pudo abrir una de las ubicaciones autorizadas.");

QVariant optionalString(const std::optional<QString> &value)
{
    return value ? QVariant(*value) : QVariant();
}

// Which rule an entry goes to, decided during the walk; the rules (and their
// signature checks) then run as units on the pool.
enum class Rule
{
    application,
    downloadedItem,
    launchItem,
    privilegedHelper,
    executable,
    script,
};

struct Pending
{
    EntryInfo entry;
    Rule rule;
};

bool isExecutableFile(const EntryInfo &entry)
{
    return entry.isRegularFile && ::access(FileLocation::encode(entry.path).constData(), X_OK) == 0;
}

// The rule for an entry of an application support or custom walk, if any.
std::optional<Rule> supportRule(const EntryInfo &entry, ScanRootKind kind)
{
    const QString ext = FileLocation::pathExtension(entry.name).toLower();
    if (entry.isDirectory && ext == QLatin1String("app"))
        return Rule::application;
    if (kind == ScanRootKind::custom && entry.isRegularFile && ext == QLatin1String("plist") &&
        ProtectionRules::isLaunchLocation(entry.path))
        return Rule::launchItem;
    if (ProtectionRules::scriptExtensions().contains(ext))
        return Rule::script;
    if (isExecutableFile(entry))
        return Rule::executable;
    return std::nullopt;
}

std::optional<Rule> ruleFor(const EntryInfo &entry, ScanRootKind kind)
{
    const QString ext = FileLocation::pathExtension(entry.name).toLower();
    switch (kind) {
    case ScanRootKind::applications:
        return entry.isDirectory && ext == QLatin1String("app") ? std::optional(Rule::application)
                                                                : std::nullopt;
    case ScanRootKind::downloads:
        if (!ProtectionRules::downloadExtensions().contains(ext))
            return std::nullopt;
        return entry.isDirectory && ext == QLatin1String("app") ? Rule::application
                                                                : Rule::downloadedItem;
    case ScanRootKind::launchItems:
        return ext == QLatin1String("plist") ? std::optional(Rule::launchItem) : std::nullopt;
    case ScanRootKind::privilegedHelpers:
        return Rule::privilegedHelper;
    case ScanRootKind::applicationSupport:
    case ScanRootKind::custom:
        return supportRule(entry, kind);
    }
    return std::nullopt;
}

int depthLimit(ScanRootKind kind)
{
    switch (kind) {
    case ScanRootKind::applications:
    case ScanRootKind::downloads:
        return 4;
    case ScanRootKind::applicationSupport:
        return 5;
    default:
        return 6;
    }
}

// The entries of one root that go to a rule, in walk order; false when a
// walked root cannot be opened.
bool collect(const ScanRoot &root, QList<Pending> *pending)
{
    if (root.kind == ScanRootKind::launchItems || root.kind == ScanRootKind::privilegedHelpers) {
        int error = 0;
        const auto children = FileSystem::listDirectory(root.url, true, &error);
        if (!children) {
            WalkControl::countUnlistedFolder(root.url, error);
            return true; // a flat listing that fails yields nothing
        }
        WalkControl::countEntries(children->size());
        for (const EntryInfo &child : *children)
            if (const auto rule = ruleFor(child, root.kind))
                pending->append({child, *rule});
        return true;
    }
    const int limit = depthLimit(root.kind);
    return FileWalker::walk(
        root.url, SkipPackageContents | SkipQuarantine, [&](const EntryInfo &entry) {
            if (WalkControl::stopRequested())
                return FileWalker::Action::Stop;
            if (entry.level > limit)
                return FileWalker::Action::SkipDescendants;
            if (entry.isSymbolicLink)
                return FileWalker::Action::Continue;
            if (!entry.isReadable) {
                // Named once here; the walker need not try it.
                WalkControl::countSkipped(entry.path, WalkControl::SkipReason::unreadable);
                return FileWalker::Action::SkipDescendants;
            }
            if (const auto rule = ruleFor(entry, root.kind))
                pending->append({entry, *rule});
            return FileWalker::Action::Continue;
        });
}

// The entry of `path` as the walk of `root` hands it to a rule, or nothing
// when that walk never reaches it: the checks `collect` makes on its way down.
std::optional<EntryInfo> reachedEntry(const ScanRoot &root, const QString &path)
{
    const QString top = FileLocation::standardizedPath(root.url);
    const QString item = FileLocation::standardizedPath(path);
    if (top.isEmpty() || !item.startsWith(top + QLatin1Char('/')))
        return std::nullopt;
    const QStringList parts = item.mid(top.size() + 1).split(QLatin1Char('/'));
    const bool flat =
        root.kind == ScanRootKind::launchItems || root.kind == ScanRootKind::privilegedHelpers;
    if (flat ? parts.size() != 1 || parts.first().startsWith(QLatin1Char('.'))
             : parts.size() > depthLimit(root.kind))
        return std::nullopt;
    // Down through readable folders only: never a link, never into a package.
    QString folder = top;
    for (qsizetype i = 0; i + 1 < parts.size(); ++i) {
        folder = FileLocation::appendingPathComponent(folder, parts.at(i));
        const std::optional<EntryInfo> step = FileSystem::resourceValues(folder);
        if (!step || !step->isDirectory || step->isPackage || !step->isReadable)
            return std::nullopt;
    }
    std::optional<EntryInfo> entry = FileSystem::resourceValues(item);
    if (!entry || (!flat && (entry->isSymbolicLink || !entry->isReadable)))
        return std::nullopt;
    entry->level = int(parts.size());
    return entry;
}

std::optional<SecurityFinding> rate(const Pending &p,
                                    const ProtectionRules::SignatureOf &signatureOf)
{
    switch (p.rule) {
    case Rule::application:
        return ProtectionRules::analyzeApplication(p.entry, signatureOf);
    case Rule::downloadedItem:
        return ProtectionRules::analyzeDownloadedItem(p.entry);
    case Rule::launchItem:
        return ProtectionRules::analyzeLaunchItem(p.entry);
    case Rule::privilegedHelper:
        return ProtectionRules::analyzePrivilegedHelper(p.entry, signatureOf);
    case Rule::executable:
    case Rule::script:
        return ProtectionRules::analyzeExecutable(p.entry, p.rule == Rule::script, signatureOf);
    }
    return std::nullopt;
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

WalkOutcome<QList<SecurityFinding>>
ProtectionScanner::analyzeRoots(const QList<ScanRoot> &roots,
                                const ProtectionRules::SignatureOf &signatureOf)
{
    QList<Pending> pending;
    for (const ScanRoot &root : roots) {
        if (!FileSystem::resourceValues(root.url))
            continue; // nothing there: skipped without a word
        if (!collect(root, &pending))
            return WalkOutcome<QList<SecurityFinding>>::failure(kCannotOpen);
    }
    // Signature checks are the costly part: each entry is a unit on the pool.
    std::vector<std::optional<SecurityFinding>> rated(size_t(pending.size()));
    parallelFor(pending.size(),
                [&](qsizetype i) { rated[size_t(i)] = rate(pending.at(i), signatureOf); });
    QList<SecurityFinding> findings;
    for (std::optional<SecurityFinding> &f : rated)
        if (f)
            findings.append(std::move(*f));
    return WalkOutcome<QList<SecurityFinding>>::success(findings);
}

std::optional<SecurityFinding>
ProtectionScanner::analyzeItem(const QList<ScanRoot> &roots, const QString &path,
                               const ProtectionRules::SignatureOf &signatureOf)
{
    QList<SecurityFinding> found;
    for (const ScanRoot &root : roots)
        if (const std::optional<EntryInfo> entry = reachedEntry(root, path))
            if (const auto rule = ruleFor(*entry, root.kind))
                if (std::optional<SecurityFinding> f = rate({*entry, *rule}, signatureOf))
                    found.append(std::move(*f));
    // Where two roots reach it, the one the list would keep.
    found = Findings::sortedUnique(found);
    return found.isEmpty() ? std::nullopt : std::optional(found.first());
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
