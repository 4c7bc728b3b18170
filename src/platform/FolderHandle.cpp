#include "FolderHandle.h"

#include "FileLocation.h"

#include <QList>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// One folder below dirFd by one name, never through a link. Read access is
// asked for so that the folder can be synced; a folder that cannot be read is
// still usable for renames.
int openChild(int dirFd, const QByteArray &name)
{
    const int flags = O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    int fd = openat(dirFd, name.constData(), O_RDONLY | flags);
    if (fd < 0 && errno == EACCES)
        fd = openat(dirFd, name.constData(), O_PATH | flags);
    if (fd < 0 && errno == ENOTDIR) {
        // O_NOFOLLOW on a link gives ENOTDIR with O_DIRECTORY: say which.
        struct stat st;
        if (fstatat(dirFd, name.constData(), &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(st.st_mode))
            errno = ELOOP;
    }
    return fd;
}

bool fail(int *error, int value)
{
    if (error)
        *error = value;
    return false;
}

} // namespace

std::optional<FolderHandle> FolderHandle::open(const ResolvedRoot &root, const QString &path,
                                               bool create, int *error, unsigned lastMode)
{
    std::optional<QString> relative;
    const bool isRoot = FileLocation::standardizedPath(path) == root.path;
    if (!isRoot)
        relative = root.relativePathOf(path);
    if (!root.isValid() || (!isRoot && !relative)) {
        fail(error, ENOENT);
        return std::nullopt;
    }
    int fd = ::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (const QByteArray &part : FileLocation::encode(root.resolved).split('/')) {
        if (part.isEmpty() || fd < 0)
            continue;
        const int next = openChild(fd, part);
        close(fd);
        fd = next;
    }
    struct stat st;
    if (fd < 0 || fstat(fd, &st) != 0 || !root.identity.sameFile(st)) {
        const int why = fd < 0 ? errno : ESTALE;
        if (fd >= 0)
            close(fd);
        fail(error, why);
        return std::nullopt;
    }
    const QList<QByteArray> parts =
        relative ? FileLocation::encode(*relative).split('/') : QList<QByteArray>();
    for (qsizetype i = 0; i < parts.size(); ++i) {
        const QByteArray &part = parts.at(i);
        if (part.isEmpty())
            continue;
        int next = part == "." || part == ".." ? (errno = EINVAL, -1) : openChild(fd, part);
        if (next < 0 && errno == ENOENT && create) {
            const unsigned mode = i == parts.size() - 1 ? lastMode : 0777;
            if (mkdirat(fd, part.constData(), mode) == 0 || errno == EEXIST)
                next = openChild(fd, part);
        }
        const int why = errno;
        close(fd);
        if (next < 0) {
            fail(error, why);
            return std::nullopt;
        }
        fd = next;
    }
    return FolderHandle(fd);
}

FolderHandle::FolderHandle(FolderHandle &&other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}

FolderHandle &FolderHandle::operator=(FolderHandle &&other) noexcept
{
    if (this != &other) {
        if (m_fd >= 0)
            close(m_fd);
        m_fd = std::exchange(other.m_fd, -1);
    }
    return *this;
}

FolderHandle::~FolderHandle()
{
    if (m_fd >= 0)
        close(m_fd);
}

void FolderHandle::sync() const
{
    if (m_fd >= 0)
        fsync(m_fd);
}

bool FolderHandle::keepPrivate(int fd, unsigned mode)
{
    struct stat st;
    if (fstat(fd, &st) != 0 || st.st_uid != geteuid())
        return false;
    return (st.st_mode & 07777 & ~mode) == 0 || fchmod(fd, st.st_mode & mode) == 0;
}
