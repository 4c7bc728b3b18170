#pragma once

#include <QByteArray>
#include <QString>

// A system error in words for the user, in Spanish like every other text.
namespace ErrorText {

QString describe(int errorNumber);
// A move by copy called off because `what` (the item, or a path inside it)
// changed, appeared or vanished while it was being copied.
QString changedWhileMoving(const QString &what);
// The text for a failed move: the change it met, named, or the error in words.
QString ofMove(int errorNumber, const QByteArray &changedPath, const QString &itemName);

} // namespace ErrorText
