#pragma once

#include "FileIdentity.h"
#include "PinnedItem.h"
#include "ResolvedRoot.h"

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>
#include <functional>

// The one way anything leaves its place for good: the user's Trash (the
// freedesktop Trash here). Nothing is ever deleted or copied instead: an item
// that cannot go stays where it was.
namespace Trash {

// Moves an item a scan listed: reached again from the scan's root without
// following links, and only while it is the file the scan saw. *error says why
// when it stays.
// `stillValid`, when given, is asked right before the move as well: the item goes
// only while it holds (a duplicate, only while its keeper is intact).
bool moveToTrash(const ResolvedRoot &root, const QString &path, const FileIdentity &expected,
                 QString *error = nullptr, PinnedItem::Check check = PinnedItem::Check::SameFile,
                 const std::function<bool()> &stillValid = {});
// The core: moves an item already pinned.
// `restorePath`: see TrashCan::take.
bool moveToTrash(const PinnedItem &item, QString *error = nullptr,
                 const std::function<bool()> &stillValid = {}, const QByteArray &restorePath = {});
// For an item named now, not by an earlier scan: the item as it is at this moment,
// reached from its parent folder.
bool moveToTrash(const QString &path, QString *error = nullptr);

enum class Outcome
{
    moved,
    changedSinceScan, // swapped for a link, replaced or moved away since it was listed
    failed,           // the item is as listed, yet it could not go
};

// Moves an item a scan listed, like moveToTrash, and tells a refusal because
// the item is no longer what the scan saw from any other failure.
Outcome moveScanned(const ResolvedRoot &root, const QString &path, const FileIdentity &expected,
                    PinnedItem::Check check = PinnedItem::Check::SameFile,
                    const std::function<bool()> &stillValid = {});

// What moving a list of items did: the identifiers that went, the names that
// stayed (in list order), and which of those stayed because they had changed
// since the scan.
struct BatchOutcome
{
    QSet<QString> moved;
    QStringList failedNames;
    QStringList changedNames;

    bool allMoved() const { return failedNames.isEmpty(); }
    void add(const QString &id, const QString &name, Outcome outcome)
    {
        if (outcome == Outcome::moved)
            moved.insert(id);
        else
            failedNames.append(name);
        if (outcome == Outcome::changedSinceScan)
            changedNames.append(name);
    }
};

// Moves result items (anything with `url`, `name`, `identity` and `id()`) found
// below `root`, one at a time, in order; onMoved runs right after each item
// that went.
template <typename Item>
BatchOutcome moveEachToTrash(const QList<Item> &items, const ResolvedRoot &root,
                             const std::function<void(const Item &)> &onMoved = {})
{
    BatchOutcome outcome;
    for (const Item &item : items) {
        const Outcome result = moveScanned(root, item.url, item.identity);
        if (result == Outcome::moved && onMoved)
            onMoved(item);
        outcome.add(item.id(), item.name, result);
    }
    return outcome;
}

} // namespace Trash
