#include "OperationUndo.h"

#include "CrashPoint.h"
#include "FileLocation.h"

#include <QMutex>
#include <sys/stat.h>

namespace OperationUndo {

namespace {

// Set from other files' static initialisers: made on first use, whatever
// their order.
QMutex &quarantineLock()
{
    static QMutex lock;
    return lock;
}

Quarantine &quarantineHooks()
{
    static Quarantine hooks;
    return hooks;
}

Quarantine hooks()
{
    const QMutexLocker locker(&quarantineLock());
    return quarantineHooks();
}

QString nameOf(const JournalItem &item)
{
    return FileLocation::lastPathComponent(item.originalPath);
}

std::optional<TrashCan> trashOf(const JournalItem &item)
{
    return TrashCan::openFolder(FileLocation::encode(item.trashFolder), nullptr);
}

bool inTrash(const JournalItem &item, const std::optional<TrashCan> &can)
{
    return can &&
           can->holds(FileLocation::encode(item.trashName), item.identity, item.originalPath);
}

// Where an item whose put-back was cut short has arrived, if anywhere: its
// place or a "(restaurado)" name beside it, holding that very file. An item
// from the quarantine may have been copied across volumes: there its size tells.
QString arrived(const JournalItem &item, bool fromQuarantine)
{
    for (int attempt = 0; attempt < TrashNames::kRestoredNames; ++attempt) {
        const QString path = TrashNames::restoredName(item.originalPath, attempt);
        struct stat st;
        if (lstat(FileLocation::encode(path).constData(), &st) != 0)
            continue;
        if (item.identity.sameFile(st) ||
            (fromQuarantine && !S_ISDIR(st.st_mode) && st.st_size == item.identity.size))
            return path;
    }
    return {};
}

QString sentence(const QString &prefix, const QStringList &names)
{
    return names.isEmpty() ? QString()
                           : prefix + names.join(QStringLiteral(", ")) + QLatin1Char('.');
}

} // namespace

void setQuarantine(Quarantine quarantine)
{
    const QMutexLocker locker(&quarantineLock());
    quarantineHooks() = std::move(quarantine);
}

Place placeOf(const JournalItem &item)
{
    switch (item.place) {
    case JournalItem::Place::restored:
        return Place::restored;
    case JournalItem::Place::stayed:
        return Place::stayed;
    case JournalItem::Place::trash:
        return inTrash(item, trashOf(item)) ? Place::trash : Place::gone;
    case JournalItem::Place::quarantine: {
        const Quarantine q = hooks();
        return q.holds && q.holds(item.recordId) ? Place::quarantine : Place::gone;
    }
    case JournalItem::Place::unknown:
        break;
    }
    return Place::gone;
}

const char *placeName(Place place)
{
    switch (place) {
    case Place::trash:
        return "trash";
    case Place::quarantine:
        return "quarantine";
    case Place::restored:
        return "restored";
    case Place::stayed:
        return "stayed";
    case Place::gone:
        break;
    }
    return "gone";
}

Report undo(const QString &operation, const QList<int> &items)
{
    Report report;
    const std::optional<OperationJournal> journal = OperationJournal::open(true, &report.error);
    if (!journal)
        return report;
    const QList<JournalOperation> operations = journal->operations();
    const auto found = std::find_if(operations.cbegin(), operations.cend(),
                                    [&](const JournalOperation &o) { return o.id == operation; });
    if (found == operations.cend())
        return report;
    const Quarantine q = hooks();
    for (int index = 0; index < found->items.size(); ++index) {
        if (!items.isEmpty() && !items.contains(index))
            continue;
        const JournalItem &item = found->items.at(index);
        const bool fromTrash = item.place == JournalItem::Place::trash;
        if (!fromTrash && item.place != JournalItem::Place::quarantine)
            continue;
        const QString name = nameOf(item);
        const std::optional<TrashCan> can = fromTrash ? trashOf(item) : std::nullopt;
        if (fromTrash ? !inTrash(item, can) : !(q.holds && q.holds(item.recordId))) {
            report.notThere << name;
            continue;
        }
        if (!journal->putBackIntended(operation, index)) {
            report.failed << name;
            continue;
        }
        CrashPoint::pass();
        // An item that came to the Trash from the quarantine goes back into it.
        const bool readmit = fromTrash && !item.quarantineRecord.isEmpty();
        TrashCan::PutBack result;
        if (readmit && q.readmit)
            result = q.readmit(*can, item);
        else if (fromTrash && !readmit)
            result = can->putBack(FileLocation::encode(item.trashName), item.identity,
                                  item.originalPath);
        else if (!fromTrash)
            result = q.putBack(item.recordId);
        using Outcome = TrashCan::PutBack::Outcome;
        if (result.outcome == Outcome::back) {
            journal->itemPutBack(operation, index, result.path);
            CrashPoint::pass();
            report.back << name;
            report.backPaths << result.path;
            if (!readmit && result.path != item.originalPath)
                report.beside << name;
            continue;
        }
        journal->putBackEnded(operation, index);
        (result.outcome == Outcome::notInTrash    ? report.notThere
         : result.outcome == Outcome::throughLink ? report.throughLink
                                                  : report.failed)
            << name;
    }
    return report;
}

QList<JournalOperation> recover(QString *error)
{
    const std::optional<OperationJournal> journal = OperationJournal::open(true, error);
    if (!journal)
        return {};
    QList<JournalOperation> operations = journal->operations();
    bool changed = false;
    const Quarantine q = hooks();
    for (const JournalOperation &operation : std::as_const(operations)) {
        for (int index = 0; index < operation.items.size(); ++index) {
            const JournalItem &item = operation.items.at(index);
            if (item.place == JournalItem::Place::unknown) {
                // Killed around a removal: still in its place means it never went.
                struct stat st;
                if (lstat(FileLocation::encode(item.originalPath).constData(), &st) == 0 &&
                    item.identity.sameFile(st))
                    changed |= journal->itemStayed(operation.id, index);
                continue;
            }
            if (!item.undoing)
                continue;
            const bool fromTrash = item.place == JournalItem::Place::trash;
            const std::optional<TrashCan> can = fromTrash ? trashOf(item) : std::nullopt;
            const bool stillThere =
                fromTrash ? inTrash(item, can) : q.holds && q.holds(item.recordId);
            // Back in the quarantine, an item that came from it has its record again.
            const QString readmitted = item.quarantineRecord.value(QStringLiteral("id")).toString();
            const QString back =
                stillThere ? QString()
                : !item.quarantineRecord.isEmpty()
                    ? (q.holds && q.holds(readmitted)
                           ? item.quarantineRecord.value(QStringLiteral("quarantinePath"))
                                 .toString()
                           : QString())
                    : arrived(item, !fromTrash);
            if (back.isEmpty()) {
                changed |= journal->putBackEnded(operation.id, index);
                continue;
            }
            if (can)
                can->dropLeftoverInfo(FileLocation::encode(item.trashName));
            changed |= journal->itemPutBack(operation.id, index, back);
        }
    }
    return changed ? journal->operations() : operations;
}

QString statusText(const Report &report)
{
    if (report.back.isEmpty())
        return QStringLiteral("No se devolvió ningún elemento.");
    QString text = QStringLiteral("%1 elemento(s) devueltos a su lugar.").arg(report.back.size());
    if (!report.beside.isEmpty())
        text += QLatin1Char(' ') +
                sentence(QStringLiteral("Su lugar estaba ocupado y se devolvieron a su lado con "
                                        "“(restaurado)” en el nombre: "),
                         report.beside);
    return text;
}

QString errorText(const Report &report)
{
    QStringList parts{
        report.error.isEmpty() ? QString()
                               : QStringLiteral("No se pudo abrir el historial: ") + report.error,
        sentence(QStringLiteral("Ya no están en la Papelera ni en la cuarentena y no se tocaron: "),
                 report.notThere),
        sentence(QStringLiteral("Su lugar pasa ahora por un enlace y no se devolvieron: "),
                 report.throughLink),
        sentence(QStringLiteral("No fue posible devolver: "), report.failed)};
    parts.removeAll(QString());
    return parts.join(QLatin1Char(' '));
}

} // namespace OperationUndo
