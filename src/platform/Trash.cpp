#include "Trash.h"

#include "FileLocation.h"
#include "FileSystem.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace Trash {

namespace {

bool fail(QString *error, const QString &why)
{
    if (error)
        *error = why;
    return false;
}

// A real folder of the user's, not a link or a file in its place.
bool ensureFolder(const QString &path)
{
    if (!QDir().mkpath(path))
        return false;
    const QFileInfo info(path);
    return info.isDir() && !info.isSymLink();
}

} // namespace

bool moveToTrash(const QString &path, QString *error)
{
    const QString target = FileLocation::standardizedPath(path);
    if (!FileSystem::resourceValues(target))
        return fail(error, QStringLiteral("missing"));
    // Qt's move falls back to "files/" and "info/" in the current directory when
    // it cannot set up the home Trash - which would misplace the user's file. So
    // the home Trash must be usable before Qt is asked at all.
    const QString dataHome = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (dataHome.isEmpty())
        return fail(error, QStringLiteral("no data home"));
    const QString trash = dataHome + QStringLiteral("/Trash");
    if (!ensureFolder(trash + QStringLiteral("/files")) ||
        !ensureFolder(trash + QStringLiteral("/info")) || QFileInfo(trash).isSymLink())
        return fail(error, QStringLiteral("the Trash folder cannot be used"));
    QFile::setPermissions(trash,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    QFile file(target);
    if (file.moveToTrash())
        return true;
    return fail(error, file.errorString());
}

} // namespace Trash
