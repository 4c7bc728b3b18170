#include "DiskFile.h"

#include "FileLocation.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace DiskFile {

int open(int dirFd, const QByteArray &name, qint64 bound, Links links)
{
    const int flags =
        O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY | (links == Links::refuse ? O_NOFOLLOW : 0);
    const int fd = openat(dirFd, name.constData(), flags);
    if (fd < 0)
        return -1;
    struct stat st;
    int why = 0;
    if (fstat(fd, &st) != 0)
        why = errno;
    else if (!S_ISREG(st.st_mode))
        why = EINVAL;
    else if (st.st_size > bound)
        why = EFBIG;
    if (why != 0) {
        close(fd);
        errno = why;
        return -1;
    }
    return fd;
}

int open(const QString &path, qint64 bound, Links links)
{
    return open(AT_FDCWD, FileLocation::encode(path), bound, links);
}

std::optional<QByteArray> readAll(int fd, qint64 bound)
{
    struct stat st;
    if (fstat(fd, &st) != 0)
        return std::nullopt;
    // One byte past the bound is asked for, so a file that grew since fstat
    // shows it rather than being cut short silently.
    QByteArray bytes(qsizetype(std::clamp<qint64>(st.st_size, 0, bound) + 1), Qt::Uninitialized);
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t n = pread(fd, bytes.data() + done, size_t(bytes.size() - done), done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return std::nullopt;
        if (n == 0)
            break;
        done += n;
        if (done == bytes.size() && done <= bound)
            bytes.resize(qsizetype(std::min<qint64>(bound + 1, qint64(bytes.size()) * 2)));
    }
    if (done > bound)
        return std::nullopt;
    bytes.resize(done);
    return bytes;
}

std::optional<QByteArray> read(int dirFd, const QByteArray &name, qint64 bound, Links links)
{
    const int fd = open(dirFd, name, bound, links);
    if (fd < 0)
        return std::nullopt;
    std::optional<QByteArray> bytes = readAll(fd, bound);
    close(fd);
    return bytes;
}

std::optional<QByteArray> read(const QString &path, qint64 bound, Links links)
{
    return read(AT_FDCWD, FileLocation::encode(path), bound, links);
}

} // namespace DiskFile
