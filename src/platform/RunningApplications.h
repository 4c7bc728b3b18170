#pragma once

#include <QList>
#include <QString>

struct RunningApplication
{
    QString bundleIdentifier; // empty when the bundle has none
    QString localizedName;
    QString bundlePath;
};

// The applications the current user is running: processes whose executable lies
// inside "X.app/Contents/MacOS/". Shells, daemons and command-line tools are not
// applications, as on the Mac.
namespace RunningApplications {

QList<RunningApplication> list();

// The bundle folder of an executable path inside "X.app/Contents/MacOS/", or empty.
QString bundleOfExecutable(const QString &executablePath);

} // namespace RunningApplications
