#include "Trash.h"

#include "CrashPoint.h"
#include "FileLocation.h"
#include "OperationJournal.h"
#include "TrashCan.h"

#include <sys/stat.h>

namespace Trash {

namespace {

bool fail(QString *error, const QString &why)
{
    if (error)
        *error = why;
    return false;
}

// The move itself; *where gets the Trash folder and the item's name in it.
bool moveInto(const PinnedItem &item, QString *error, const std::function<bool()> &stillValid,
              const QByteArray &restorePath, std::pair<QByteArray, QByteArray> *where)
{
    // An item on the data home's file system goes to the home Trash. One on
    // another volume, or on a bind mount of the home's (the rename then fails
    // across mounts), goes to that volume's own Trash.
    QString homeError;
    std::optional<TrashCan> home = TrashCan::home(&homeError);
    if (!home || home->device() == item.status().st_dev) {
        // A home Trash that cannot be used is never replaced by another one on
        // the same volume.
        if (!home && TrashCan::deviceHolding(TrashCan::dataHome()) == item.status().st_dev)
            return fail(error, homeError);
        if (home) {
            const TrashCan::Result result =
                home->take(item, error, stillValid, restorePath, &where->second);
            where->first = home->folder();
            if (result != TrashCan::Result::CrossDevice)
                return result == TrashCan::Result::Moved;
        }
    }
    // The volume of the folder holding the item: an item that is itself a mount
    // point belongs to the volume it is mounted on.
    const QByteArray parent = item.resolvedPath().left(item.resolvedPath().lastIndexOf('/'));
    const QByteArray topdir = TrashCan::mountPointOf(parent.isEmpty() ? QByteArray("/") : parent);
    struct stat top;
    if (stat(topdir.constData(), &top) != 0 || top.st_dev != item.status().st_dev)
        return fail(error, QStringLiteral("no Trash on the item's volume"));
    std::optional<TrashCan> can = TrashCan::forVolume(topdir, error);
    if (!can)
        return false;
    const TrashCan::Result result = can->take(item, error, stillValid, restorePath, &where->second);
    where->first = can->folder();
    if (result == TrashCan::Result::CrossDevice)
        return fail(error, QStringLiteral("no Trash on the item's volume"));
    return result == TrashCan::Result::Moved;
}

} // namespace

bool moveToTrash(const PinnedItem &item, QString *error, const std::function<bool()> &stillValid,
                 const QByteArray &restorePath)
{
    // A removal that is recording its operation writes the item down before it
    // moves and where it went after, so that it can be put back.
    OperationRecording *recording = OperationRecording::current();
    const OperationJournal *journal = recording ? recording->journal() : nullptr;
    const int index = journal ? recording->nextIndex() : -1;
    const QString originalPath =
        FileLocation::decode(restorePath.startsWith('/') ? restorePath : item.resolvedPath());
    if (journal)
        journal->itemIntended(recording->id(), recording->module(), index, originalPath,
                              FileIdentity::of(item.status()));
    std::pair<QByteArray, QByteArray> where;
    const bool moved = moveInto(item, error, stillValid, restorePath, &where);
    if (journal && moved) {
        CrashPoint::pass();
        journal->itemInTrash(recording->id(), index, FileLocation::decode(where.first),
                             FileLocation::decode(where.second), recording->takeQuarantineRecord());
        recording->itemMoved();
    } else if (journal) {
        journal->itemStayed(recording->id(), index);
    }
    return moved;
}

bool moveToTrash(const ResolvedRoot &root, const QString &path, const FileIdentity &expected,
                 QString *error, PinnedItem::Check check, const std::function<bool()> &stillValid)
{
    const std::optional<PinnedItem> item = PinnedItem::pin(root, path, expected, check, error);
    return item && moveToTrash(*item, error, stillValid);
}

Outcome moveScanned(const ResolvedRoot &root, const QString &path, const FileIdentity &expected,
                    PinnedItem::Check check, const std::function<bool()> &stillValid)
{
    const std::optional<PinnedItem> item = PinnedItem::pin(root, path, expected, check);
    if (!item)
        return Outcome::changedSinceScan;
    if (moveToTrash(*item, nullptr, stillValid))
        return Outcome::moved;
    return !item->stillSame() || (stillValid && !stillValid()) ? Outcome::changedSinceScan
                                                               : Outcome::failed;
}

bool moveToTrash(const QString &path, QString *error)
{
    const QString item = FileLocation::standardizedPath(path);
    const ResolvedRoot root = ResolvedRoot::resolve(FileLocation::deletingLastPathComponent(item));
    struct stat st;
    if (lstat(FileLocation::encode(item).constData(), &st) != 0)
        return fail(error, QStringLiteral("missing"));
    return moveToTrash(root, item, FileIdentity::of(st), error);
}

} // namespace Trash
