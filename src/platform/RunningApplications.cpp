#include "RunningApplications.h"

#include "FileLocation.h"
#include "PropertyList.h"

#include <QDir>
#include <QSet>
#include <climits>
#include <sys/stat.h>
#include <unistd.h>

namespace RunningApplications {

QString bundleOfExecutable(const QString &executablePath)
{
    static const QLatin1String marker(".app/Contents/MacOS/");
    QString path = executablePath;
    // The kernel marks executables replaced or removed since they started.
    if (path.endsWith(QLatin1String(" (deleted)")))
        path.chop(10);
    const qsizetype at = path.lastIndexOf(marker, -1, Qt::CaseInsensitive);
    if (at < 0)
        return {};
    // Only the executable itself, not a file in a folder below MacOS/.
    if (path.indexOf(QLatin1Char('/'), at + marker.size()) >= 0)
        return {};
    return path.left(at + 4);
}

QList<RunningApplication> list()
{
    QList<RunningApplication> apps;
    QSet<QString> seen;
    const uid_t me = getuid();
    const QStringList pids =
        QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString &pid : pids) {
        bool numeric = false;
        pid.toInt(&numeric);
        if (!numeric)
            continue;
        const QByteArray procPath = "/proc/" + pid.toLatin1();
        struct stat st;
        if (stat(procPath.constData(), &st) != 0 || st.st_uid != me)
            continue;
        char target[PATH_MAX];
        const ssize_t n = readlink((procPath + "/exe").constData(), target, sizeof target);
        if (n <= 0 || n >= ssize_t(sizeof target))
            continue;
        const QString bundle = bundleOfExecutable(FileLocation::decode(QByteArray(target, n)));
        if (bundle.isEmpty() || seen.contains(bundle))
            continue;
        seen.insert(bundle);
        RunningApplication app;
        app.bundlePath = bundle;
        if (auto info = BundleInfo::read(bundle)) {
            app.bundleIdentifier = info->identifier;
            app.localizedName = info->displayName(bundle);
        } else {
            app.localizedName = BundleInfo{}.displayName(bundle);
        }
        apps.append(app);
    }
    return apps;
}

} // namespace RunningApplications
