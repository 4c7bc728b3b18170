#include "SystemLayout.h"

#include "FileLocation.h"

#include <QDir>
#include <pwd.h>
#include <unistd.h>

namespace SystemLayout {

QString homeFolder()
{
    const QByteArray home = qgetenv("HOME");
    if (!home.isEmpty())
        return FileLocation::standardizedPath(FileLocation::decode(home));
    // No HOME: fall back to the account's entry, as the platform does.
    if (const passwd *pw = getpwuid(getuid()); pw && pw->pw_dir && *pw->pw_dir)
        return FileLocation::standardizedPath(FileLocation::decode(pw->pw_dir));
    return QStringLiteral("/");
}

QString systemRoot()
{
    const QByteArray root = qgetenv("VELMORA_ROOT");
    if (root.isEmpty())
        return QStringLiteral("/");
    return FileLocation::standardizedPath(QDir(FileLocation::decode(root)).absolutePath());
}

static QString under(const QString &base, const QString &relative)
{
    return FileLocation::appendingPathComponent(base, relative);
}

QString userLibraryFolder()
{
    return under(homeFolder(), QStringLiteral("Library"));
}
QString applicationSupportFolder()
{
    return under(homeFolder(), QStringLiteral("Library/Application Support"));
}
QString quarantineFolder()
{
    return under(applicationSupportFolder(), QStringLiteral("Velmora/Quarantine"));
}
QString userCachesFolder()
{
    return under(homeFolder(), QStringLiteral("Library/Caches"));
}
QString userApplicationsFolder()
{
    return under(homeFolder(), QStringLiteral("Applications"));
}
QString systemApplicationsFolder()
{
    return under(systemRoot(), QStringLiteral("Applications"));
}
QString systemLibraryFolder()
{
    return under(systemRoot(), QStringLiteral("Library"));
}

QString pathRelativeToRoot(const QString &path)
{
    const QString root = systemRoot();
    const QString clean = FileLocation::standardizedPath(path);
    if (root == QLatin1String("/"))
        return clean;
    if (clean == root)
        return QStringLiteral("/");
    if (clean.startsWith(root + QLatin1Char('/')))
        return clean.mid(root.size());
    return clean;
}

} // namespace SystemLayout
