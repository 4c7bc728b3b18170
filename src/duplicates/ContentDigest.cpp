#include "ContentDigest.h"

#include "FileDigest.h"
#include "FileLocation.h"
#include "WalkControl.h"

#include <atomic>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ContentDigest {

namespace {

std::atomic<qint64> g_opened{0};

// Closes on every path out, whatever happens.
struct FileDescriptor
{
    int fd = -1;
    explicit FileDescriptor(const QString &path) : fd(ContentDigest::openForReading(path)) {}
    ~FileDescriptor()
    {
        if (fd >= 0)
            ::close(fd);
    }
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;
};

} // namespace

std::optional<QString> hashOpenFile(int fd, std::optional<qint64> length)
{
    const auto digest = FileDigest::ofOpenFile(fd, FileDigest::Algorithm::sha256, length);
    if (!digest)
        return std::nullopt;
    return QString::fromLatin1(digest->toHex());
}

std::optional<QString> fileHash(const QString &path)
{
    FileDescriptor file(path);
    if (file.fd < 0)
        return std::nullopt;
    posix_fadvise(file.fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    return hashOpenFile(file.fd);
}

std::optional<QByteArray> edgeFingerprint(const QString &path, qint64 size)
{
    constexpr qint64 kEdge = 4096;
    FileDescriptor file(path);
    if (file.fd < 0)
        return std::nullopt;
    struct stat st;
    if (::fstat(file.fd, &st) != 0 || st.st_size != size)
        return std::nullopt; // changed since the walk: it matches nothing it was paired with
    QByteArray bytes(int(std::min(size, 2 * kEdge)), Qt::Uninitialized);
    const qint64 head = std::min(size, kEdge);
    if (FileDigest::readAt(file.fd, bytes.data(), head, 0) != head)
        return std::nullopt;
    const qint64 tail = std::min(size - head, kEdge);
    if (tail > 0 && FileDigest::readAt(file.fd, bytes.data() + head, tail, size - tail) != tail)
        return std::nullopt;
    return bytes;
}

int openForReading(const QString &path)
{
    // Never blocking, and only a regular file: a name swapped for a pipe or a
    // device after the walk must not hold the scan.
    const int fd = ::open(FileLocation::encode(path).constData(),
                          O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (fd < 0)
        return -1;
    ++g_opened;
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return -1;
    }
    return fd;
}

qint64 filesOpened()
{
    return g_opened.load();
}

} // namespace ContentDigest
