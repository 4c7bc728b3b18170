#pragma once

#include <QString>
#include <QStringList>

// The user's preferences store. Three keys live here: the cleanup mode, the
// cleanup auto-select switch and the protection trust list.
namespace Preferences {

bool contains(const QString &key);
QString string(const QString &key); // empty when absent or not a string
bool boolean(const QString &key);   // false when absent
QStringList stringList(const QString &key);
void setString(const QString &key, const QString &value);
void setBoolean(const QString &key, bool value);
void setStringList(const QString &key, const QStringList &value);

} // namespace Preferences
