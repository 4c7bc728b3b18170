#include "SealedResources.h"

#include "CodeSignature.h"
#include "DiskFile.h"
#include "FileDigest.h"
#include "FileLocation.h"
#include "FileWalker.h"
#include "PropertyList.h"

#include <QRegularExpression>
#include <QSet>
#include <QVariantMap>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace SealedResources {

namespace {

// A sealed file past this is not a resource any bundle ships; hashing a planted
// sparse giant would stall the scan.
constexpr qint64 kMaxSealedFileBytes = qint64(2) << 30;

struct Rule
{
    QRegularExpression pattern;
    bool omit = false;
    double weight = 1;
};

QList<Rule> rulesOf(const QVariantMap &seal)
{
    QVariantMap source = seal.value(QStringLiteral("rules2")).toMap();
    if (source.isEmpty())
        source = seal.value(QStringLiteral("rules")).toMap();
    if (source.isEmpty())
        source.insert(QStringLiteral("^.*"), true);
    QList<Rule> rules;
    for (auto it = source.cbegin(); it != source.cend(); ++it) {
        Rule rule{QRegularExpression(it.key()), false, 1};
        if (!rule.pattern.isValid())
            continue;
        if (it.value().typeId() == QMetaType::QVariantMap) {
            const QVariantMap options = it.value().toMap();
            rule.omit = options.value(QStringLiteral("omit")).toBool();
            if (options.contains(QStringLiteral("weight")))
                rule.weight = options.value(QStringLiteral("weight")).toDouble();
        }
        rules.append(rule);
    }
    return rules;
}

// Whether a file that the seal does not list should have been listed.
bool mustBeSealed(const QList<Rule> &rules, const QString &relative)
{
    const Rule *best = nullptr;
    for (const Rule &rule : rules)
        if (rule.pattern.match(relative).hasMatch() && (!best || rule.weight > best->weight))
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
    QVariantMap files = seal->value(QStringLiteral("files2")).toMap();
    if (files.isEmpty())
        files = seal->value(QStringLiteral("files")).toMap();
    for (auto it = files.cbegin(); it != files.cend(); ++it)
        if (!entryMatches(contents, it.key(), it.value()))
            return false;

    // Nothing added: every file inside Contents is listed, left out by the
    // rules, the signature itself, the main executable, or inside nested code.
    const QList<Rule> rules = rulesOf(*seal);
    const QString executableRelative = executable.mid(contents.size() + 1);
    bool added = false;
    FileWalker::walk(contents, 0, [&](const EntryInfo &entry) {
        const QString relative = entry.path.mid(contents.size() + 1);
        if (relative == QLatin1String("_CodeSignature"))
            return FileWalker::Action::SkipDescendants;
        if (entry.isDirectory)
            return files.contains(relative) ? FileWalker::Action::SkipDescendants
                                            : FileWalker::Action::Continue;
        if (relative == executableRelative || files.contains(relative))
            return FileWalker::Action::Continue;
        if (mustBeSealed(rules, relative)) {
            added = true;
            return FileWalker::Action::Stop;
        }
        return FileWalker::Action::Continue;
    });
    return !added;
}

} // namespace SealedResources
