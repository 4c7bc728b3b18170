#pragma once

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>
#include <functional>

// The one way anything leaves its place for good: the user's Trash.
namespace Trash {

// Moves a file or folder into the current user's Trash. On failure the item
// stays where it was, *error says why, and nothing is ever deleted instead.
bool moveToTrash(const QString &path, QString *error = nullptr);

// What moving a list of items did: the identifiers that went, the names that stayed.
struct BatchOutcome
{
    QSet<QString> moved;
    QStringList failedNames;
};

// Moves result items (anything with `url`, `name` and `id()`) one at a time, in
// order; onMoved runs right after each item that went.
template <typename Item>
BatchOutcome moveEachToTrash(const QList<Item> &items,
                             const std::function<void(const Item &)> &onMoved = {})
{
    BatchOutcome outcome;
    for (const Item &item : items) {
        if (!moveToTrash(item.url)) {
            outcome.failedNames.append(item.name);
            continue;
        }
        if (onMoved)
            onMoved(item);
        outcome.moved.insert(item.id());
    }
    return outcome;
}

} // namespace Trash
