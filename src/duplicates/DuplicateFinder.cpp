#include "DuplicateFinder.h"

#include "ContentComparison.h"
#include "ContentDigest.h"
#include "FileWalker.h"
#include "FolderListing.h"
#include "RegularFileWalk.h"
#include "WorkQueue.h"

#include <QHash>
#include <QSet>
#include <algorithm>
#include <map>

namespace DuplicateFinder {

namespace {

struct Candidate
{
    DuplicateFileItem item;
    qint64 logicalSize = 0;
};

// Splits each list into sublists of equal key, keeping first-seen order; only
// sublists of two or more are kept, since a lone file has no duplicate.
template <typename Key>
QList<std::pair<Key, QList<Candidate>>> splitBy(const QList<QList<Candidate>> &lists,
                                                const std::vector<std::optional<Key>> &keys)
{
    QList<std::pair<Key, QList<Candidate>>> out;
    qsizetype k = 0;
    for (const QList<Candidate> &list : lists) {
        QList<Key> order;
        QHash<Key, QList<Candidate>> byKey;
        for (const Candidate &c : list) {
            const std::optional<Key> &key = keys[size_t(k++)];
            if (!key)
                continue; // unreadable: dropped silently
            if (!byKey.contains(*key))
                order.append(*key);
            byKey[*key].append(c);
        }
        for (const Key &key : order)
            if (byKey.value(key).size() >= 2)
                out.append({key, byKey.value(key)});
    }
    return out;
}

template <typename Key, typename Compute>
std::vector<std::optional<Key>> computeKeys(const QList<QList<Candidate>> &lists, Compute compute)
{
    std::vector<const Candidate *> flat;
    for (const QList<Candidate> &list : lists)
        for (const Candidate &c : list)
            flat.push_back(&c);
    std::vector<std::optional<Key>> keys(flat.size());
    parallelFor(qsizetype(flat.size()),
                [&](qsizetype i) { keys[size_t(i)] = compute(*flat[size_t(i)]); });
    return keys;
}

} // namespace

WalkOutcome<QList<DuplicateGroup>> findDuplicates(const QString &inside, qint64 minimumBytes,
                                                  const FolderListing *listing)
{
    const RegularFileWalk::Keep<Candidate> keep =
        [minimumBytes](const FileEntry &entry) -> std::optional<Candidate> {
        if (!entry.isReadable() || entry.allocatedSize() < minimumBytes)
            return std::nullopt;
        return Candidate{{entry.path(), entry.fileName(), entry.folderPath(), entry.allocatedSize(),
                          entry.modificationTimeMs(), FileIdentity::of(entry.st)},
                         qint64(entry.st.st_size)};
    };
    if (listing && listing->minimumBytes() > minimumBytes)
        listing = nullptr; // it left out files this walk wants
    const auto found = RegularFileWalk::collect<Candidate>(
        inside, SkipPackageContents | SkipHiddenFiles | SkipQuarantine, keep, {listing, nullptr});
    if (!found)
        return WalkOutcome<QList<DuplicateGroup>>::failure(
            QStringLiteral("No fue posible abrir la carpeta seleccionada."));

    // Buckets by content length. Identical files always share it, while their
    // blocks on disk need not match: ext4 counts a large file's extent blocks in
    // its allocation, so copies written at different times differ by a block or two.
    // One file is one file: other names of an inode (hard links, or a folder
    // reached twice through a bind mount) are never its duplicates.
    std::map<qint64, QList<Candidate>> bySize;
    QSet<std::pair<quint64, quint64>> seen;
    for (const Candidate &c : *found)
        if (const std::pair inode{c.item.identity.device, c.item.identity.inode};
            !seen.contains(inode)) {
            seen.insert(inode);
            bySize[c.logicalSize].append(c);
        }
    QList<QList<Candidate>> sameSize;
    for (auto &[size, list] : bySize)
        if (list.size() >= 2)
            sameSize.append(std::move(list));

    // Cheap first: both ends, within each length.
    const auto edges = computeKeys<QByteArray>(sameSize, [](const Candidate &c) {
        return ContentDigest::edgeFingerprint(c.item.url, c.logicalSize);
    });
    QList<QList<Candidate>> sameEdges;
    for (auto &[fingerprint, list] : splitBy(sameSize, edges))
        sameEdges.append(std::move(list));

    // Then the whole content, for what is still alike: each set read side by side
    // on its own core, every identical class hashed once.
    std::vector<QList<DuplicateGroup>> perSet(size_t(sameEdges.size()));
    parallelFor(sameEdges.size(), [&](qsizetype i) {
        const QList<Candidate> &set = sameEdges.at(i);
        QList<QString> paths;
        for (const Candidate &c : set)
            paths.append(c.item.url);
        for (const ContentComparison::IdenticalFiles &same :
             ContentComparison::identicalContent(paths)) {
            DuplicateGroup group{same.digest, {}};
            for (int member : same.members)
                group.files.append(set.at(member).item);
            // By folder; files of one folder keep the order they were met in.
            std::stable_sort(group.files.begin(), group.files.end(),
                             [](const DuplicateFileItem &a, const DuplicateFileItem &b) {
                                 return DuplicateOrder::compareCanonical(a.path, b.path) < 0;
                             });
            perSet[size_t(i)].append(std::move(group));
        }
    });
    QList<DuplicateGroup> groups;
    for (QList<DuplicateGroup> &found : perSet)
        groups.append(std::move(found));
    return WalkOutcome<QList<DuplicateGroup>>::success(groups);
}

} // namespace DuplicateFinder
