#include "FileSystem.h"

#include "ItemMove.h"

#include "FileLocation.h"
#include "PosixEntries.h"

#include <QDir>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace FileSystem {

std::optional<QList<EntryInfo>> listDirectory(const QString &folder, bool skipHidden, int *error)
{
    const QString folderPath = FileLocation::standardizedPath(folder);
    const int fd =
        open(FileLocation::encode(folderPath).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        if (error)
            *error = errno;
        return std::nullopt;
    }
    std::vector<PosixEntries::Name> names;
    if (!PosixEntries::readNames(fd, &names)) {
        if (error)
            *error = errno;
        close(fd);
        return std::nullopt;
    }
    QList<EntryInfo> entries;
    entries.reserve(static_cast<qsizetype>(names.size()));
    for (const auto &[raw, type] : names) {
        if (skipHidden && PosixEntries::isHidden(raw))
            continue;
        EntryInfo info;
        info.name = FileLocation::decode(raw);
        struct stat st;
        if (fstatat(fd, raw.constData(), &st, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        info.path = FileLocation::appendingPathComponent(folderPath, info.name);
        info.level = 1;
        PosixEntries::fill(&info, st);
        entries.append(std::move(info));
    }
    close(fd);
    return entries;
}

std::optional<EntryInfo> resourceValues(const QString &path)
{
    EntryInfo info;
    info.path = FileLocation::standardizedPath(path);
    info.name = FileLocation::lastPathComponent(info.path);
    struct stat st;
    if (lstat(FileLocation::encode(info.path).constData(), &st) != 0)
        return std::nullopt;
    PosixEntries::fill(&info, st);
    return info;
}

bool moveItem(const QString &from, const QString &to, QString *error)
{
    const QByteArray source = FileLocation::encode(FileLocation::standardizedPath(from));
    const QByteArray target = FileLocation::encode(FileLocation::standardizedPath(to));
    if (ItemMove::renameNoReplace(AT_FDCWD, source.constData(), AT_FDCWD, target.constData()) == 0)
        return true;
    if (error)
        *error = QString::fromLocal8Bit(strerror(errno));
    return false;
}

bool createFolder(const QString &path)
{
    return QDir().mkpath(path);
}

bool fileExists(const QString &path)
{
    struct stat st;
    return lstat(FileLocation::encode(path).constData(), &st) == 0;
}

bool isExecutableFile(const QString &path)
{
    struct stat st;
    const QByteArray bytes = FileLocation::encode(path);
    if (stat(bytes.constData(), &st) != 0 || !S_ISREG(st.st_mode))
        return false;
    return access(bytes.constData(), X_OK) == 0;
}

} // namespace FileSystem
