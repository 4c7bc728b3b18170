#pragma once

#include <QString>

// The one way anything leaves its place for good: the user's Trash.
namespace Trash {

// Moves a file or folder into the current user's Trash. On failure the item
// stays where it was, *error says why, and nothing is ever deleted instead.
bool moveToTrash(const QString &path, QString *error = nullptr);

} // namespace Trash
