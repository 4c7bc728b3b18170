#include "ContentDigest.h"

#include "FileLocation.h"
#include "WalkControl.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

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

qint64 readAt(int fd, char *buffer, qint64 length, qint64 offset)
{
    qint64 done = 0;
    while (done < length) {
        const ssize_t n = ::pread(fd, buffer + done, size_t(length - done), offset + done);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return -1;
        }
        if (n == 0)
            break;
        done += n;
    }
    return done;
}

std::optional<QString> hashOpenFile(int fd, std::optional<qint64> length)
{
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> ctx(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    if (!ctx || EVP_DigestInit_ex(ctx.get(), EVP_sha256(), nullptr) != 1)
        return std::nullopt;
    std::vector<char> chunk(static_cast<size_t>(kChunkBytes));
    qint64 offset = 0;
    while (!length || offset < *length) {
        if (WalkControl::stopRequested())
            return std::nullopt;
        const qint64 want = length ? std::min(kChunkBytes, *length - offset) : kChunkBytes;
        const qint64 n = readAt(fd, chunk.data(), want, offset);
        if (n < 0 || (length && n < want))
            return std::nullopt; // unreadable, or shorter than it was
        EVP_DigestUpdate(ctx.get(), chunk.data(), size_t(n));
        WalkControl::countBytes(n);
        offset += n;
        if (n < want)
            break; // the end of the file
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    if (EVP_DigestFinal_ex(ctx.get(), digest, &size) != 1)
        return std::nullopt;
    return QString::fromLatin1(
        QByteArray(reinterpret_cast<const char *>(digest), int(size)).toHex());
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
    if (readAt(file.fd, bytes.data(), head, 0) != head)
        return std::nullopt;
    const qint64 tail = std::min(size - head, kEdge);
    if (tail > 0 && readAt(file.fd, bytes.data() + head, tail, size - tail) != tail)
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
