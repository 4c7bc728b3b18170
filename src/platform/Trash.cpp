#include "Trash.h"

#include "FileLocation.h"
#include "FileSystem.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QUrl>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

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

// Qt judges a link by what it points at: a dangling link "does not exist", and a
// link to another volume is sent to that volume's trash. A link is therefore
// moved by hand into the home Trash as the freedesktop specification describes:
// the info file is claimed first, then the link itself is renamed beside it.
bool moveLinkToTrash(const QString &link, const QString &trash, QString *error)
{
    const QString name = FileLocation::lastPathComponent(link);
    const QByteArray info =
        "[Trash Info]\nPath=" + QUrl::toPercentEncoding(link, "/") + "\nDeletionDate=" +
        QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd'T'hh:mm:ss")).toUtf8() +
        "\n";
    for (int attempt = 0; attempt < 1000; ++attempt) {
        const QString candidate =
            attempt == 0 ? name : QStringLiteral("%1.%2").arg(name).arg(attempt);
        const QString infoPath =
            trash + QStringLiteral("/info/") + candidate + QStringLiteral(".trashinfo");
        const QByteArray infoBytes = FileLocation::encode(infoPath);
        const int fd = ::open(infoBytes.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd < 0) {
            if (errno == EEXIST)
                continue;
            return fail(error, QString::fromLocal8Bit(strerror(errno)));
        }
        const bool written = ::write(fd, info.constData(), size_t(info.size())) == info.size();
        ::close(fd);
        const QString target = trash + QStringLiteral("/files/") + candidate;
        QString moveError;
        if (written && FileSystem::moveItem(link, target, &moveError))
            return true;
        ::unlink(infoBytes.constData());
        if (!written)
            return fail(error, QStringLiteral("the Trash information cannot be written"));
        if (!FileSystem::fileExists(target))
            return fail(error, moveError);
    }
    return fail(error, QStringLiteral("no free name in the Trash"));
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
    if (FileSystem::resourceValues(target)->isSymbolicLink)
        return moveLinkToTrash(target, trash, error);
    QFile file(target);
    if (file.moveToTrash())
        return true;
    return fail(error, file.errorString());
}

} // namespace Trash
