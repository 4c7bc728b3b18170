#include "ProtectionQuarantineManager.h"

#include "CrashPoint.h"
#include "ErrorText.h"
#include "FileLocation.h"
#include "FileSystem.h"
#include "Formatters.h"
#include "ItemMove.h"
#include "OperationJournal.h"
#include "PinnedItem.h"
#include "QuarantineFolder.h"
#include "SystemLayout.h"
#include "Trash.h"
#include "TrashCan.h"
#include "WorkQueue.h"

#include <QCoreApplication>
#include <QPointer>
#include <QtConcurrent/QtConcurrentRun>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

const QString kDestinationExists =
    QStringLiteral("Ya existe un elemento con ese nombre en la ubicación original.");

bool isBelow(const QString &path, const QString &folder)
{
    return path.startsWith(folder + QLatin1Char('/'));
}

// Where a restore puts the item back: its original place, or, where that is
// not known, the home folder under the item's own name.
QString destinationOf(const ProtectionQuarantineRecord &record)
{
    if (!record.originalPath.isNull())
        return record.originalPath;
    return FileLocation::appendingPathComponent(
        FileLocation::standardizedPath(SystemLayout::homeFolder()),
        FileLocation::lastPathComponent(record.quarantinePath).mid(37));
}

// Home and /Applications are the only places items are taken from.
bool isQuarantinePlace(const QString &path)
{
    return isBelow(path, FileLocation::standardizedPath(SystemLayout::homeFolder())) ||
           SystemLayout::pathRelativeToRoot(path).startsWith(QLatin1String("/Applications/"));
}

// The folder an item is reached from for its move.
ResolvedRoot rootFor(const QString &path)
{
    const QString home = FileLocation::standardizedPath(SystemLayout::homeFolder());
    return ResolvedRoot::resolve(isBelow(path, home) ? home
                                                     : SystemLayout::systemApplicationsFolder());
}

QList<ResultRole<ProtectionQuarantineRecord>> recordRoles()
{
    using Record = ProtectionQuarantineRecord;
    return {
        {"recordId", [](const Record &r) { return QVariant(r.id); }},
        {"name", [](const Record &r) { return QVariant(r.name); }},
        {"originalPath",
         [](const Record &r) { return QVariant(FileLocation::displayText(r.originalPath)); }},
        {"quarantinePath", [](const Record &r) { return QVariant(r.quarantinePath); }},
        {"size", [](const Record &r) { return QVariant(r.size); }},
        {"sizeText", [](const Record &r) { return QVariant(Formatters::bytes(r.size)); }},
        {"dateText",
         [](const Record &r) {
             return QVariant(Formatters::mediumDateTime(QuarantineIndex::dateOf(r.quarantinedAt)));
         }},
    };
}

} // namespace

ProtectionQuarantineManager::ProtectionQuarantineManager(QObject *parent)
    : ScannerBase(QString(), parent),
      m_records({[](const ProtectionQuarantineRecord &r) { return r.size; }, {}, recordRoles()})
{
    setResults(&m_records);
    connect(&m_records, &ResultModel::modelReset, this,
            &ProtectionQuarantineManager::recordsChanged);
    // The folder is made and what a killed process left is finished off the
    // main thread, as the first action: every later one waits behind it.
    run([](const QList<ProtectionQuarantineRecord> &) { return startUp(); }, QString(), {});
}

QString ProtectionQuarantineManager::quarantineDirectory()
{
    return QuarantineFolder::path();
}

bool ProtectionQuarantineManager::canQuarantine(const SecurityFinding &finding)
{
    const QString p = finding.id();
    const QString folder = quarantineDirectory();
    if (p == folder || isBelow(p, folder) || isBelow(folder, p))
        return false;
    return isQuarantinePlace(p) && FileSystem::resourceValues(p).has_value();
}

ProtectionQuarantineManager::Outcome ProtectionQuarantineManager::startUp()
{
    Outcome out;
    QString error;
    if (const std::optional<QuarantineFolder> folder = QuarantineFolder::open(true, &error)) {
        out.records = folder->recover();
        out.records.removeIf([&](const auto &r) { return !folder->holds(r); });
    } else {
        out.errorMessage = QStringLiteral("No se pudo crear la cuarentena: ") + error;
    }
    return out;
}

std::optional<ProtectionQuarantineRecord>
ProtectionQuarantineManager::recordWithId(const QString &id) const
{
    for (const ProtectionQuarantineRecord &record : records())
        if (record.id == id)
            return record;
    return std::nullopt;
}

void ProtectionQuarantineManager::quarantine(const QList<SecurityFinding> &findings, Done done)
{
    if (findings.isEmpty()) {
        setErrorMessage(QStringLiteral("No hay elementos seleccionados."));
        if (done)
            done({});
        return;
    }
    run(
        [findings, now = m_clock](QList<ProtectionQuarantineRecord> records) {
            return quarantineAll(std::move(records), findings, now);
        },
        QStringLiteral("Moviendo elementos a cuarentena…"), std::move(done));
}

void ProtectionQuarantineManager::restore(const QString &recordId)
{
    const std::optional<ProtectionQuarantineRecord> record = recordWithId(recordId);
    if (isRemoving() || !record)
        return;
    run(
        [record = *record](QList<ProtectionQuarantineRecord> records) {
            Outcome out = restoreOne(std::move(records), record);
            if (!out.restored.isEmpty())
                journalRestored(record.id, out.restored);
            return out;
        },
        QString(), {});
}

void ProtectionQuarantineManager::moveToTrash(const QString &recordId)
{
    const std::optional<ProtectionQuarantineRecord> record = recordWithId(recordId);
    if (isRemoving() || !record)
        return;
    run(
        [record = *record](QList<ProtectionQuarantineRecord> records) {
            return trashOne(std::move(records), record);
        },
        QString(), {});
}

void ProtectionQuarantineManager::run(Action action, const QString &startStatus, Done done)
{
    queueRemoval<Outcome>(
        // Each action starts from the records the one before left.
        [this, action = std::move(action), startStatus] {
            setErrorMessage(QString());
            if (!startStatus.isNull())
                setStatusText(startStatus);
            return [action, records = records()] { return action(records); };
        },
        [this, done = std::move(done)](const Outcome &out) {
            m_records.setItems(out.records);
            if (!out.statusText.isNull())
                setStatusText(out.statusText);
            setErrorMessage(out.errorMessage);
            if (!m_isReady) {
                m_isReady = true;
                Q_EMIT isReadyChanged();
            }
            if (out.operation)
                setLastOperation(*out.operation);
            if (done)
                done(out.gone);
            Q_EMIT actionEnded(out.statusText, out.restored);
            // Items an undo put back are rated again where they are.
            for (const QString &path : out.undone)
                Q_EMIT actionEnded(QString(), path);
        });
}

ProtectionQuarantineManager::Outcome
ProtectionQuarantineManager::quarantineAll(QList<ProtectionQuarantineRecord> records,
                                           const QList<SecurityFinding> &findings, const Clock &now)
{
    Outcome out;
    OperationRecording recording(QStringLiteral("protection"));
    QString folderError;
    const std::optional<QuarantineFolder> folder = QuarantineFolder::open(true, &folderError);
    if (!folder)
        out.errorMessage = QStringLiteral("No se pudo crear la cuarentena: ") + folderError;
    for (const SecurityFinding &finding : findings) {
        const QString p = finding.id();
        // Gone already, or from a place items are never taken from: skipped.
        if (!FileSystem::resourceValues(p) || !isQuarantinePlace(p))
            continue;
        const QString error =
            folder ? quarantineOne(*folder, finding, records, now ? now() : QuarantineIndex::now())
                   : folderError;
        if (!error.isEmpty())
            out.errorMessage =
                QStringLiteral("No se pudo mover ") + finding.name + QStringLiteral(": ") + error;
    }
    // Moved, or gone already: either way no longer where the scan saw it.
    for (const SecurityFinding &finding : findings)
        if (!FileSystem::resourceValues(finding.id()))
            out.gone.insert(finding.id());
    out.records = records;
    out.statusText = QStringLiteral("%1 elemento(s) en cuarentena.").arg(records.size());
    out.operation = recording.finish();
    return out;
}

QString ProtectionQuarantineManager::quarantineOne(const QuarantineFolder &folder,
                                                   const SecurityFinding &finding,
                                                   QList<ProtectionQuarantineRecord> &records,
                                                   double now)
{
    const QString source = finding.id();
    const QString home = quarantineDirectory();
    if (source == home || isBelow(source, home) || isBelow(home, source))
        return QStringLiteral("La carpeta de cuarentena no puede ponerse en cuarentena.");
    QString why;
    const std::optional<PinnedItem> item = PinnedItem::pin(
        rootFor(source), source, finding.identity, PinnedItem::Check::SameFile, &why);
    // A file is taken only as it was rated; a folder (a bundle) only while it
    // is the same folder, since its own times follow whatever happens inside.
    if (!item || (!S_ISDIR(item->status().st_mode) && !finding.identity.unchanged(item->status())))
        return QStringLiteral("El elemento cambió desde el análisis.");

    // The file name has a UUID of its own; the record gets another one.
    const QByteArray name = QuarantineFolder::newItemName(item->name());
    ProtectionQuarantineRecord record{
        QuarantineIndex::newIdentifier(),
        source,
        FileLocation::appendingPathComponent(quarantineDirectory(), FileLocation::decode(name)),
        finding.name,
        finding.size,
        now};
    if (!folder.writeIntent({QuarantineFolder::Operation::quarantine, record}))
        return ErrorText::describe(errno);
    // The history hears of the move before and after, as for the Trash.
    OperationRecording *recording = OperationRecording::current();
    const OperationJournal *journal = recording ? recording->journal() : nullptr;
    const int index = journal ? recording->nextIndex() : -1;
    if (journal)
        journal->itemIntended(recording->id(), recording->module(), index, source,
                              FileIdentity::of(item->status()));
    CrashPoint::pass();
    const ItemMove::Result moved =
        ItemMove::move(item->parentFd(), item->name(), item->status(), folder.fd(), name,
                       QuarantineFolder::temporaryName(record.id));
    if (journal && moved.moved) {
        journal->itemInQuarantine(recording->id(), index, record.id);
        recording->itemMoved();
    } else if (journal) {
        journal->itemStayed(recording->id(), index);
    }
    if (!moved.moved) {
        folder.dropIntent(record.id);
        // Renamed in place, the item is refused only when it is not what was
        // rated; a copy to another volume names what changed under it.
        return moved.error == ESTALE && moved.changedPath.isNull()
                   ? QStringLiteral("El elemento cambió desde el análisis.")
                   : ErrorText::ofMove(moved.error, moved.changedPath, finding.name);
    }
    CrashPoint::pass();
    records.prepend(record);
    // Without a written index the intent stays: the next start lists the item.
    if (folder.writeIndex(records)) {
        CrashPoint::pass();
        folder.dropIntent(record.id);
    }
    if (moved.originalLeft)
        return QStringLiteral("Se copió a la cuarentena, pero parte del original no se pudo "
                              "eliminar.");
    return {};
}

ProtectionQuarantineManager::Outcome
ProtectionQuarantineManager::restoreOne(QList<ProtectionQuarantineRecord> records,
                                        const ProtectionQuarantineRecord &record, bool beside)
{
    Outcome out;
    out.records = records;
    QString folderError;
    const std::optional<QuarantineFolder> folder = QuarantineFolder::open(false, &folderError);
    struct stat st;
    if (!folder || fstatat(folder->fd(), QuarantineFolder::itemName(record).constData(), &st,
                           AT_SYMLINK_NOFOLLOW) != 0) {
        out.errorMessage = QStringLiteral("El archivo de cuarentena ya no existe.");
        return out;
    }
    const QString failed = QStringLiteral("No se pudo restaurar: ");
    int error = 0;
    const QString destination = destinationOf(record);
    const std::optional<FolderHandle> target =
        QuarantineFolder::openOriginalFolder(destination, true, &error);
    if (!target) {
        out.restoreError = error;
        out.errorMessage = failed + (error == EPERM ? QStringLiteral("La ubicación original está "
                                                                     "fuera de la carpeta personal "
                                                                     "y de Aplicaciones.")
                                                    : ErrorText::describe(error));
        return out;
    }
    QString placed = destination;
    QByteArray name = FileLocation::encode(FileLocation::lastPathComponent(destination));
    struct stat occupied;
    for (int attempt = 1;
         beside && attempt < TrashNames::kRestoredNames &&
         fstatat(target->fd(), name.constData(), &occupied, AT_SYMLINK_NOFOLLOW) == 0;
         ++attempt) {
        placed = TrashNames::restoredName(destination, attempt);
        name = FileLocation::encode(FileLocation::lastPathComponent(placed));
    }
    if (fstatat(target->fd(), name.constData(), &occupied, AT_SYMLINK_NOFOLLOW) == 0) {
        out.errorMessage = failed + kDestinationExists;
        return out;
    }
    if (!folder->writeIntent({QuarantineFolder::Operation::restore, record})) {
        out.errorMessage = failed + ErrorText::describe(errno);
        return out;
    }
    CrashPoint::pass();
    const ItemMove::Result moved =
        ItemMove::move(folder->fd(), QuarantineFolder::itemName(record), st, target->fd(), name,
                       QuarantineFolder::temporaryName(record.id));
    if (!moved.moved) {
        folder->dropIntent(record.id);
        out.errorMessage =
            failed + (moved.error == EEXIST
                          ? kDestinationExists
                          : ErrorText::ofMove(moved.error, moved.changedPath, record.name));
        return out;
    }
    target->sync();
    CrashPoint::pass();
    out.records.removeIf([&](const auto &r) { return r.id == record.id; });
    if (folder->writeIndex(out.records)) {
        CrashPoint::pass();
        folder->dropIntent(record.id);
    }
    out.statusText = record.name + QStringLiteral(" fue restaurado.");
    out.restored = placed;
    return out;
}

ProtectionQuarantineManager::Outcome
ProtectionQuarantineManager::trashOne(QList<ProtectionQuarantineRecord> records,
                                      const ProtectionQuarantineRecord &record)
{
    Outcome out;
    out.records = records;
    const std::optional<QuarantineFolder> folder = QuarantineFolder::open(false, nullptr);
    struct stat st;
    if (folder && fstatat(folder->fd(), QuarantineFolder::itemName(record).constData(), &st,
                          AT_SYMLINK_NOFOLLOW) == 0) {
        QString why;
        const bool intent = folder->writeIntent({QuarantineFolder::Operation::trash, record});
        // One operation of the history, whose undo brings the item back in here.
        OperationRecording recording(QStringLiteral("protection"));
        recording.setQuarantineRecord(QuarantineIndex::toJson(record));
        const int intentError = intent ? 0 : errno;
        CrashPoint::pass();
        const ResolvedRoot root = ResolvedRoot::resolve(SystemLayout::homeFolder());
        const std::optional<PinnedItem> item = PinnedItem::pin(
            root, record.quarantinePath, FileIdentity::of(st), PinnedItem::Check::SameFile, &why);
        if (!intent || !item ||
            !Trash::moveToTrash(*item, &why, {}, FileLocation::encode(destinationOf(record)))) {
            folder->dropIntent(record.id);
            out.errorMessage = QStringLiteral("No se pudo mover a la Papelera: ") +
                               (intent ? QStringLiteral("La Papelera no aceptó el elemento.")
                                       : ErrorText::describe(intentError));
            return out;
        }
        CrashPoint::pass();
    }
    // Trashed now, or already gone: the record goes.
    out.records.removeIf([&](const auto &r) { return r.id == record.id; });
    if (folder && folder->writeIndex(out.records)) {
        CrashPoint::pass();
        folder->dropIntent(record.id);
    }
    out.statusText = record.name + QStringLiteral(" fue movido a la Papelera.");
    return out;
}
