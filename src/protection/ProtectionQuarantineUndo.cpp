#include "FileLocation.h"
#include "OperationJournal.h"
#include "ProtectionQuarantineManager.h"
#include "QuarantineFolder.h"

#include <cerrno>

// The quarantine's part in taking removals back: its own quarantines from the
// module, and any of them from the history.

void ProtectionQuarantineManager::journalRestored(const QString &recordId, const QString &path)
{
    const std::optional<OperationJournal> journal = OperationJournal::open(false);
    if (!journal)
        return;
    for (const JournalOperation &operation : journal->operations())
        for (int index = 0; index < operation.items.size(); ++index)
            if (operation.items.at(index).place == JournalItem::Place::quarantine &&
                operation.items.at(index).recordId == recordId)
                journal->itemPutBack(operation.id, index, path);
}

void ProtectionQuarantineManager::undoLastRemoval()
{
    const QString operation = lastOperationId();
    if (operation.isEmpty() || isRemoving())
        return;
    run(
        [operation](const QList<ProtectionQuarantineRecord> &) {
            const OperationUndo::Report report = OperationUndo::undo(operation);
            Outcome out;
            if (const std::optional<QuarantineFolder> folder =
                    QuarantineFolder::open(false, nullptr))
                out.records = folder->readIndex().records;
            out.statusText = OperationUndo::statusText(report);
            out.errorMessage = OperationUndo::errorText(report);
            out.operation = QString();
            out.undone = report.backPaths;
            return out;
        },
        QString(), {});
}

OperationUndo::Quarantine ProtectionQuarantineManager::undoAccess()
{
    const auto recordOf = [](const QuarantineFolder &folder, const QString &id) {
        std::optional<ProtectionQuarantineRecord> found;
        for (const ProtectionQuarantineRecord &record : folder.readIndex().records)
            if (record.id == id && folder.holds(record))
                found = record;
        return found;
    };
    return {
        [recordOf](const QString &id) {
            const std::optional<QuarantineFolder> folder = QuarantineFolder::open(false, nullptr);
            return folder && recordOf(*folder, id).has_value();
        },
        [recordOf](const QString &id) {
            TrashCan::PutBack result;
            const std::optional<QuarantineFolder> folder = QuarantineFolder::open(false, nullptr);
            const std::optional<ProtectionQuarantineRecord> record =
                folder ? recordOf(*folder, id) : std::nullopt;
            if (!record) {
                result.outcome = TrashCan::PutBack::Outcome::notInTrash;
                return result;
            }
            const Outcome out = restoreOne(folder->readIndex().records, *record, true);
            result.path = out.restored;
            result.error = out.restoreError;
            using enum TrashCan::PutBack::Outcome;
            result.outcome = !out.restored.isEmpty()     ? back
                             : out.restoreError == ELOOP ? throughLink
                                                         : failed;
            return result;
        },
        [](const TrashCan &can, const JournalItem &item) {
            TrashCan::PutBack result;
            const std::optional<ProtectionQuarantineRecord> record =
                QuarantineIndex::fromJson(item.quarantineRecord);
            const std::optional<QuarantineFolder> folder = QuarantineFolder::open(true, nullptr);
            if (!record || !folder)
                return result;
            // As any move in: the intent first, so that a kill leaves a record.
            QList<ProtectionQuarantineRecord> records = folder->readIndex().records;
            if (!folder->writeIntent({QuarantineFolder::Operation::quarantine, *record}))
                return result;
            result =
                can.moveInto(FileLocation::encode(item.trashName), item.identity, item.originalPath,
                             folder->fd(), QuarantineFolder::itemName(*record));
            if (result.outcome != TrashCan::PutBack::Outcome::back) {
                folder->dropIntent(record->id);
                return result;
            }
            records.removeIf([&](const auto &r) { return r.id == record->id; });
            records.prepend(*record);
            if (folder->writeIndex(records))
                folder->dropIntent(record->id);
            result.path = record->quarantinePath;
            return result;
        }};
}

namespace {
// The history can take back quarantines wherever the quarantine is part of the program.
const bool undoInstalled =
    (OperationUndo::setQuarantine(ProtectionQuarantineManager::undoAccess()), true);
} // namespace
