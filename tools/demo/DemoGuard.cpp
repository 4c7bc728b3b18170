#include "DemoGuard.h"

#include <QRegularExpression>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <ftw.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray encoded(const QString &path)
{
    return QFile::encodeName(path);
}

bool isUnder(const QString &resolved, const QStringList &roots)
{
    for (const QString &root : roots)
        if (resolved == root || resolved.startsWith(root + QLatin1Char('/')))
            return true;
    return false;
}

bool isEmptyFolder(const QString &folder)
{
    DIR *dir = opendir(encoded(folder).constData());
    if (!dir)
        return false;
    bool empty = true;
    while (dirent *entry = readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
            empty = false;
            break;
        }
    }
    closedir(dir);
    return empty;
}

// The marker's contents, or nothing when there is no marker. A link or a folder
// by that name is no marker: it could have been put there by anyone.
std::optional<QByteArray> readMarker(const QString &folder)
{
    const QString path = folder + QLatin1Char('/') + QLatin1String(DemoGuard::kMarkerName);
    struct stat st;
    if (lstat(encoded(path).constData(), &st) != 0 || !S_ISREG(st.st_mode))
        return std::nullopt;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.read(4096);
}

// Splits off the missing tail, resolves the part that exists, and follows a
// dangling link by hand: writing through it would land at its target.
QString resolvedPathFrom(QString existing, int links)
{
    QString rest;
    struct stat st;
    while (lstat(encoded(existing).constData(), &st) != 0 && existing != QLatin1String("/")) {
        const qsizetype slash = existing.lastIndexOf(QLatin1Char('/'));
        rest = existing.mid(slash + 1) + (rest.isEmpty() ? QString() : QLatin1Char('/') + rest);
        existing = slash == 0 ? QStringLiteral("/") : existing.left(slash);
    }
    const QFileInfo info(existing);
    QString base = info.canonicalFilePath();
    if (base.isEmpty() && info.isSymLink() && links < 40)
        return resolvedPathFrom(QDir::cleanPath(info.symLinkTarget() + QLatin1Char('/') + rest),
                                links + 1);
    if (base.isEmpty())
        base = existing;
    return rest.isEmpty() ? base : QDir::cleanPath(base + QLatin1Char('/') + rest);
}

int s_removeError = 0;
QByteArray s_removeFailure;

int removeEntry(const char *path, const struct stat *, int, struct FTW *ftw)
{
    if (ftw->level == 0)
        return 0;
    if (ftw->level == 1 && std::strcmp(path + ftw->base, DemoGuard::kMarkerName) == 0)
        return 0;
    if (remove(path) != 0 && s_removeError == 0) {
        s_removeError = errno;
        s_removeFailure = path;
    }
    return 0;
}

} // namespace

namespace DemoGuard {

QByteArray markerContents()
{
    return QByteArrayLiteral("velmora-demo 2\n");
}

QByteArray unfinishedMarkerContents()
{
    return QByteArrayLiteral("velmora-demo 2 unfinished\n");
}

QString resolvedPath(const QString &path)
{
    return resolvedPathFrom(QDir::cleanPath(QDir::current().absoluteFilePath(path)), 0);
}

QStringList temporaryRoots()
{
    QStringList roots{QStringLiteral("/tmp")};
    const QString realTmp = QFileInfo(QStringLiteral("/tmp")).canonicalFilePath();
    if (!realTmp.isEmpty() && realTmp != roots.first())
        roots << realTmp;
    return roots;
}

Decision decide(const QString &folder, bool force, const QStringList &refusedRoots)
{
    const QString resolved = resolvedPath(folder);
    if (isUnder(resolved, refusedRoots))
        return {Action::Refuse, QStringLiteral("%1 resolves to %2, under %3; choose a folder "
                                               "outside it")
                                    .arg(folder, resolved, refusedRoots.first())};
    struct stat st;
    if (stat(encoded(folder).constData(), &st) != 0)
        return errno == ENOENT ? Decision{Action::Build, {}}
                               : Decision{Action::Refuse, QStringLiteral("cannot examine %1: %2")
                                                              .arg(folder, qt_error_string(errno))};
    if (!S_ISDIR(st.st_mode))
        return {Action::Refuse, QStringLiteral("%1 exists and is not a folder").arg(folder)};
    const std::optional<QByteArray> marker = readMarker(folder);
    if (!marker)
        return isEmptyFolder(folder)
                   ? Decision{Action::Build, {}}
                   : Decision{Action::Refuse,
                              QStringLiteral("%1 is not empty and holds no demo tree (no %2 "
                                             "marker); refusing to write into it")
                                  .arg(folder, QLatin1String(kMarkerName))};
    if (*marker == markerContents() && !force)
        return {Action::Nothing, QStringLiteral("%1 already holds this demo tree").arg(folder)};
    // Only a marker this generator wrote, in this or an earlier version, makes a
    // folder ours to empty.
    static const QRegularExpression ours(QStringLiteral("^velmora-demo [0-9]+( unfinished)?\n$"));
    if (!ours.match(QString::fromLatin1(*marker)).hasMatch())
        return {Action::Refuse, QStringLiteral("%1 has a %2 file this generator did not write; "
                                               "refusing to empty it")
                                    .arg(folder, QLatin1String(kMarkerName))};
    return {Action::Rebuild, {}};
}

bool clearTree(const QString &folder, QString *error)
{
    s_removeError = 0;
    s_removeFailure.clear();
    // Depth first, links removed as links, other file systems left alone (a
    // folder with one mounted inside then fails to go, and the rebuild stops).
    const int walked =
        nftw(encoded(folder).constData(), removeEntry, 32, FTW_DEPTH | FTW_PHYS | FTW_MOUNT);
    if (walked != 0 || s_removeError != 0) {
        *error = QStringLiteral("cannot remove %1: %2")
                     .arg(QFile::decodeName(s_removeFailure.isEmpty() ? encoded(folder)
                                                                      : s_removeFailure),
                          qt_error_string(s_removeError ? s_removeError : errno));
        return false;
    }
    return true;
}

bool writeMarker(const QString &folder, const QByteArray &contents)
{
    QFile file(folder + QLatin1Char('/') + QLatin1String(kMarkerName));
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(contents) == contents.size() && file.flush();
}

} // namespace DemoGuard
