#include "Trash.h"

#include "FileLocation.h"
#include "FileSystem.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

namespace Trash {

bool moveToTrash(const QString &path, QString *error)
{
    const QString target = FileLocation::standardizedPath(path);
    if (!FileSystem::resourceValues(target)) {
        if (error)
            *error = QStringLiteral("missing");
        return false;
    }
    // Qt puts files/ and info/ into the current directory when the data home is
    // missing, so the data home has to exist before the first move.
    const QString dataHome = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (dataHome.isEmpty() || !QDir().mkpath(dataHome)) {
        if (error)
            *error = QStringLiteral("no data home");
        return false;
    }
    QFile file(target);
    if (file.moveToTrash())
        return true;
    if (error)
        *error = file.errorString();
    return false;
}

} // namespace Trash
