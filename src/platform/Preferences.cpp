#include "Preferences.h"

#include <QSettings>

namespace Preferences {

namespace {

QVariant read(const QString &key)
{
    QSettings settings(QStringLiteral("Velmora"), QStringLiteral("Velmora"));
    return settings.value(key);
}

void write(const QString &key, const QVariant &value)
{
    QSettings settings(QStringLiteral("Velmora"), QStringLiteral("Velmora"));
    settings.setValue(key, value);
    settings.sync();
}

} // namespace

bool contains(const QString &key)
{
    QSettings settings(QStringLiteral("Velmora"), QStringLiteral("Velmora"));
    return settings.contains(key);
}

QString string(const QString &key)
{
    const QVariant value = read(key);
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

bool boolean(const QString &key)
{
    const QVariant value = read(key);
    // The text store gives booleans back as the strings "true" and "false".
    if (value.typeId() == QMetaType::QString)
        return value.toString() == QLatin1String("true");
    return value.toBool();
}

QStringList stringList(const QString &key)
{
    const QVariant value = read(key);
    if (value.typeId() == QMetaType::QString)
        return {value.toString()}; // a one-element list is stored as plain text
    return value.toStringList();
}

void setString(const QString &key, const QString &value)
{
    write(key, value);
}
void setBoolean(const QString &key, bool value)
{
    write(key, value);
}
void setStringList(const QString &key, const QStringList &value)
{
    write(key, value);
}

} // namespace Preferences
