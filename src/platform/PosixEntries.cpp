#include "PosixEntries.h"

#include "FileLocation.h"
#include "FileWalker.h"
#include "SystemLayout.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

namespace PosixEntries {

bool readNames(int folderFd, std::vector<Name> *names)
{
    const int fd = fcntl(folderFd, F_DUPFD_CLOEXEC, 0);
    if (fd < 0)
        return false;
    DIR *dir = fdopendir(fd);
    if (!dir) {
        const int saved = errno;
        close(fd);
        errno = saved;
        return false;
    }
    rewinddir(dir); // a duplicated descriptor shares its position with the original
    errno = 0;
    while (dirent *entry = readdir(dir)) {
        const char *n = entry->d_name;
        if (n[0] == '.' && (n[1] == '\0' || (n[1] == '.' && n[2] == '\0')))
            continue;
        names->push_back({QByteArray(n), entry->d_type});
    }
    const int readError = errno;
    closedir(dir);
    std::sort(names->begin(), names->end(),
              [](const Name &a, const Name &b) { return a.bytes < b.bytes; });
    errno = readError;
    return readError == 0;
}

int openRoot(const QByteArray &path, bool followLink, std::vector<Name> *names)
{
    const int fd =
        open(path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | (followLink ? 0 : O_NOFOLLOW));
    if (fd < 0)
        return -1;
    if (!readNames(fd, names)) {
        close(fd);
        return -1;
    }
    return fd;
}

bool isPackage(const QByteArray &name)
{
    return name.lastIndexOf('.') > 0 && FileSystemNames::isPackageName(FileLocation::decode(name));
}

namespace {

struct Identity
{
    uid_t uid = 0;
    std::vector<gid_t> groups;
};

const Identity &identity()
{
    static const Identity id = [] {
        Identity result;
        result.uid = geteuid();
        result.groups.push_back(getegid());
        const int count = getgroups(0, nullptr);
        if (count > 0) {
            std::vector<gid_t> extra(static_cast<size_t>(count));
            const int got = getgroups(count, extra.data());
            if (got > 0)
                result.groups.insert(result.groups.end(), extra.begin(), extra.begin() + got);
        }
        return result;
    }();
    return id;
}

} // namespace

// Decided from the permission bits (ACLs aside), which spares one access()
// call per entry in walks of a million files.
bool isReadable(const struct stat &st)
{
    const Identity &id = identity();
    if (id.uid == 0)
        return true;
    if (st.st_uid == id.uid)
        return st.st_mode & S_IRUSR;
    if (std::find(id.groups.begin(), id.groups.end(), st.st_gid) != id.groups.end())
        return st.st_mode & S_IRGRP;
    return st.st_mode & S_IROTH;
}

void fill(EntryInfo *info, const struct stat &st)
{
    info->isRegularFile = S_ISREG(st.st_mode);
    info->isDirectory = S_ISDIR(st.st_mode);
    info->isSymbolicLink = S_ISLNK(st.st_mode);
    info->isReadable = isReadable(st);
    info->isHidden = info->name.startsWith(QLatin1Char('.'));
    info->isPackage = info->isDirectory && FileSystemNames::isPackageName(info->name);
    info->fileSize = st.st_size;
    info->allocatedSize = static_cast<qint64>(st.st_blocks) * 512;
    info->modificationTimeMs =
        static_cast<qint64>(st.st_mtim.tv_sec) * 1000 + st.st_mtim.tv_nsec / 1000000;
    info->device = st.st_dev;
    info->inode = st.st_ino;
}

} // namespace PosixEntries

namespace PosixEntries {

QuarantineMark QuarantineMark::read()
{
    QuarantineMark mark;
    const QByteArray path = FileLocation::encode(SystemLayout::quarantineFolder());
    char buffer[PATH_MAX];
    struct stat st;
    if (lstat(path.constData(), &st) == 0 && S_ISDIR(st.st_mode) &&
        realpath(path.constData(), buffer)) {
        mark.known = true;
        mark.device = quint64(st.st_dev);
        mark.inode = quint64(st.st_ino);
        mark.resolved = QByteArray(buffer);
    }
    return mark;
}

bool QuarantineMark::is(const struct stat &st) const
{
    return known && S_ISDIR(st.st_mode) && quint64(st.st_dev) == device &&
           quint64(st.st_ino) == inode;
}

bool QuarantineMark::covers(const QByteArray &path) const
{
    char buffer[PATH_MAX];
    if (!known || !realpath(path.constData(), buffer))
        return false;
    const QByteArray resolvedPath(buffer);
    return resolvedPath == resolved || resolvedPath.startsWith(resolved + '/');
}

} // namespace PosixEntries
