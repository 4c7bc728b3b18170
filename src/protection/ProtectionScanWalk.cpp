#include "ProtectionScanner.h"

#include "FileLocation.h"
#include "FileSystem.h"
#include "FileWalker.h"
#include "WorkQueue.h"

#include <unistd.h>
#include <utility>

// What the protection scanner reads from the disk: the walk of its places, the
// rule each entry goes to, and the rating of each entry on the pool.

namespace {

const QString kCannotOpen = QStringLiteral("No se pudo abrir una de las ubicaciones autorizadas.");

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
