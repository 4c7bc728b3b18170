#include "SealedResources.h"

#include "CodeSignature.h"
#include "DiskFile.h"
#include "FileDigest.h"
#include "FileLocation.h"
#include "FileWalker.h"
#include "PropertyList.h"
#include "WalkControl.h"

#include <QSet>
#include <QVariantMap>
#include <fcntl.h>
#include <memory>
#include <regex.h>
#include <sys/stat.h>
#include <unistd.h>

namespace SealedResources {

namespace {

// A sealed file past this is not a resource any bundle ships; hashing a planted
// sparse giant would stall the scan.
constexpr qint64 kMaxSealedFileBytes = qint64(2) << 30;

// A rule's pattern is a POSIX extended expression, as where the seal was made:
// searched for anywhere in the path unless anchored, `$` only at its very end
// (a name that ends in a line break is not ".DS_Store"), `.` any character.
using Pattern = std::shared_ptr<regex_t>;

Pattern compiled(const QString &source)
{
    auto *re = new regex_t;
    if (regcomp(re, source.toUtf8().constData(), REG_EXTENDED | REG_NOSUB) != 0) {
        delete re;
        return nullptr;
    }
    return Pattern(re, [](regex_t *r) {
        regfree(r);
        delete r;
    });
}

struct Rule
{
    Pattern pattern;
    bool omit = false;
    double weight = 1;
};

// The rules that go with the listed files: "rules2" for "files2", else the
// first version's. A rule that cannot be read leaves unknown what the seal
// covers, so the seal cannot be checked.
std::optional<QList<Rule>> rulesOf(const QVariantMap &source)
{
    QList<Rule> rules;
    for (auto it = source.cbegin(); it != source.cend(); ++it) {
        Rule rule{compiled(it.key()), false, 1};
        if (!rule.pattern)
            return std::nullopt;
        if (it.value().typeId() == QMetaType::QVariantMap) {
            const QVariantMap options = it.value().toMap();
            rule.omit = options.value(QStringLiteral("omit")).toBool();
            if (options.contains(QStringLiteral("weight")))
                rule.weight = options.value(QStringLiteral("weight")).toDouble();
        }
        rules.append(rule);
    }
    if (rules.isEmpty()) // no rules: every file is sealed
        rules.append(Rule{compiled(QStringLiteral("^.*")), false, 1});
    return rules;
}

// Whether a file that the seal does not list should have been listed.
bool mustBeSealed(const QList<Rule> &rules, const QString &relative)
{
    const QByteArray path = FileLocation::encode(relative);
    const Rule *best = nullptr;
    for (const Rule &rule : rules)
        if (regexec(rule.pattern.get(), path.constData(), 0, nullptr, 0) == 0 &&
            (!best || rule.weight > best->weight))
            best = &rule;
    return best && !best->omit;
}

std::optional<QByteArray> fileDigest(const QString &path, FileDigest::Algorithm algorithm)
{
    const int fd = DiskFile::open(path, kMaxSealedFileBytes, DiskFile::Links::refuse);
    if (fd < 0)
        return std::nullopt;
    std::optional<QByteArray> digest = FileDigest::ofOpenFile(fd, algorithm);
    ::close(fd);
    return digest;
}

bool isInside(const QString &relative)
{
    return !relative.isEmpty() && !relative.startsWith(QLatin1Char('/')) &&
           !relative.split(QLatin1Char('/')).contains(QStringLiteral("..")) &&
           !relative.split(QLatin1Char('/')).contains(QStringLiteral("."));
}

// One listed file still as sealed. A listed entry is a hash (SHA-1 in "files"),
// or a dictionary with "hash2" (SHA-256), "hash", "symlink", "cdhash" (nested
// code) and "optional".
bool entryMatches(const QString &contents, const QString &relative, const QVariant &entry)
{
    if (!isInside(relative))
        return false;
    const QString path = contents + QLatin1Char('/') + relative;
    const QVariantMap options =
        entry.typeId() == QMetaType::QVariantMap ? entry.toMap() : QVariantMap();
    struct stat st;
    if (lstat(FileLocation::encode(path).constData(), &st) != 0)
        return options.value(QStringLiteral("optional")).toBool();
    if (options.contains(QStringLiteral("symlink"))) {
        // The link's own text, exactly: a target that merely ends the same way
        // points somewhere else.
        QByteArray target(qsizetype(st.st_size) + 1, Qt::Uninitialized);
        const ssize_t n = S_ISLNK(st.st_mode) ? readlink(FileLocation::encode(path).constData(),
                                                         target.data(), target.size())
                                              : -1;
        const QByteArray sealed =
            FileLocation::encode(options.value(QStringLiteral("symlink")).toString());
        return n >= 0 && n < target.size() && target.left(n) == sealed;
    }
    if (options.contains(QStringLiteral("cdhash")))
        return CodeSignature::signatureInformation(path).isValid;
    if (options.contains(QStringLiteral("hash2")))
        return fileDigest(path, FileDigest::Algorithm::sha256) ==
               options.value(QStringLiteral("hash2")).toByteArray();
    const QByteArray sha1 = options.isEmpty() ? entry.toByteArray()
                                              : options.value(QStringLiteral("hash")).toByteArray();
    return !sha1.isEmpty() && fileDigest(path, FileDigest::Algorithm::sha1) == sha1;
}

} // namespace

bool verify(const QString &contents, const QByteArray &codeResources, const QString &executable)
{
    const std::optional<QVariantMap> seal = PropertyList::fromData(codeResources);
    if (!seal)
        return false;
    const bool second = seal->contains(QStringLiteral("files2"));
    const QVariantMap files =
        seal->value(second ? QStringLiteral("files2") : QStringLiteral("files")).toMap();
    const std::optional<QList<Rule>> rules =
        rulesOf(seal->value(second ? QStringLiteral("rules2") : QStringLiteral("rules")).toMap());
    if (!rules)
        return false;
    for (auto it = files.cbegin(); it != files.cend(); ++it)
        if (!entryMatches(contents, it.key(), it.value()))
            return false;

    // Nothing added: every file inside Contents is listed, left out by the
    // rules, the main executable, or inside listed nested code. Left out at the
    // top: the signature, the link to its seal that old bundles kept, and the
    // store's receipt, added after signing.
    static const QStringList kUnsealed{QStringLiteral("_CodeSignature"),
                                       QStringLiteral("CodeResources"),
                                       QStringLiteral("_MASReceipt")};
    const QString executableRelative = executable.mid(contents.size() + 1);
    bool added = false;
    const auto visit = [&](const EntryInfo &entry) {
        const QString relative = entry.path.mid(contents.size() + 1);
        if (kUnsealed.contains(relative))
            return FileWalker::Action::SkipDescendants;
        if (entry.isDirectory)
            return files.contains(relative) ? FileWalker::Action::SkipDescendants
                                            : FileWalker::Action::Continue;
        if (relative == executableRelative || files.contains(relative) ||
            !mustBeSealed(*rules, relative))
            return FileWalker::Action::Continue;
        added = true;
        return FileWalker::Action::Stop;
    };
    // A folder that cannot be listed may hold anything, and a walk cut short by
    // a stopped scan did not look everywhere: neither shows the seal whole.
    bool unread = false;
    const bool walked =
        FileWalker::walk(contents, 0, visit, [&](const QString &, int) { unread = true; });
    return walked && !added && !unread && !WalkControl::stopRequested();
}

} // namespace SealedResources
