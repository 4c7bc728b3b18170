#pragma once

#include "OperationJournal.h"
#include "TrashCan.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <functional>

// Taking removals back, from the journal: each item from the Trash or the
// quarantine to where it was, through the same link-free, identity-checked
// moves as the removals themselves. Runs off the main thread.
namespace OperationUndo {

// Where an item of the journal is now, as the disk says.
enum class Place
{
    trash,
    quarantine,
    restored,
    gone,   // no longer where the journal left it (emptied, or put back by another tool)
    stayed, // it never moved
};
Place placeOf(const JournalItem &item);
const char *placeName(Place place);

// What the quarantine, which lives elsewhere, does for the undo.
struct Quarantine
{
    std::function<bool(const QString &recordId)> holds;
    // Moves the record's item back to its original place, or beside it as
    // "{name} (restaurado)" when that is taken.
    std::function<TrashCan::PutBack(const QString &recordId)> putBack;
    // Takes an item moved from the quarantine to the Trash back into the
    // quarantine, under its record again.
    std::function<TrashCan::PutBack(const TrashCan &can, const JournalItem &item)> readmit;
};
void setQuarantine(Quarantine quarantine);

struct Report
{
    QStringList back;        // the names put back
    QStringList backPaths;   // and where each is now
    QStringList beside;      // of those, the ones put beside a taken place
    QStringList notThere;    // no longer in the Trash or the quarantine
    QStringList throughLink; // their place passes through a link now
    QStringList failed;
    QString error; // the journal itself could not be had
    bool operator==(const Report &) const = default;
};

// Puts back the items of `operation` (all when `items` is empty) that are
// still in the Trash or the quarantine.
Report undo(const QString &operation, const QList<int> &items = {});

// The journal's operations, after finishing the put-backs a crash cut short:
// an item found back in its place is written down as back (its .trashinfo, if
// left, goes); one still in the Trash stays there.
QList<JournalOperation> recover(QString *error = nullptr);

// The status after an undo ("3 elemento(s) devueltos a su lugar.") and the
// error naming what did not come back, empty when all did.
QString statusText(const Report &report);
QString errorText(const Report &report);

} // namespace OperationUndo
