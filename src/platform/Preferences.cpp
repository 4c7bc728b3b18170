#include "Preferences.h"

#include "DiskFile.h"

#include <QFile>
#include <QSettings>
#include <QStandardPaths>
#include <cerrno>
#include <memory>
#include <unistd.h>

namespace Preferences {

namespace {

// The file QSettings("Velmora", "Velmora") uses on Linux, named outright: QSettings
// works its default location out once per process and also reads fallbacks beside
// it (an organisation-wide file, system-wide ones under /etc/xdg), and every file
// it opens is one more place a planted named pipe could hang it.
QString storePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/Velmora/Velmora.conf");
}

// Three small values never make a file larger than this.
constexpr qint64 kMaxStoreBytes = 1024 * 1024;

// QSettings opens its file with a blocking open and reads it to the end, so a named
// pipe (or a device, or a sparse giant) in its place would hang the app or fill its
// memory on the first preference. Only a missing file or a small regular one,
// directly or through a link, is handed over.
bool isUsable(const QString &path)
{
    const int fd = DiskFile::open(path, kMaxStoreBytes, DiskFile::Links::follow);
    if (fd >= 0)
        close(fd);
    return fd >= 0 || errno == ENOENT;
}

// The store, or nothing when its file is not usable. Writing also takes the lock
// file beside it, whose contents QLockFile reads when it finds one already there.
std::unique_ptr<QSettings> openStore(bool forWriting)
{
    const QString path = storePath();
    if (!isUsable(path) || (forWriting && !isUsable(path + QStringLiteral(".lock"))))
        return nullptr;
    return std::make_unique<QSettings>(path, QSettings::IniFormat);
}

QVariant read(const QString &key)
{
    const auto settings = openStore(false);
    return settings ? settings->value(key) : QVariant();
}

void write(const QString &key, const QVariant &value)
{
    const auto settings = openStore(true);
    if (!settings)
        return;
    settings->setValue(key, value);
    settings->sync();
}

} // namespace

bool contains(const QString &key)
{
    const auto settings = openStore(false);
    return settings && settings->contains(key);
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
