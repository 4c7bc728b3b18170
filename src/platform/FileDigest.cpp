#include "FileDigest.h"

#include "WalkControl.h"

#include <cerrno>
#include <memory>
#include <openssl/evp.h>
#include <unistd.h>
#include <vector>

namespace FileDigest {

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

std::optional<QByteArray> ofOpenFile(int fd, Algorithm algorithm, std::optional<qint64> length)
{
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> ctx(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    const EVP_MD *md = algorithm == Algorithm::sha1 ? EVP_sha1() : EVP_sha256();
    if (!ctx || EVP_DigestInit_ex(ctx.get(), md, nullptr) != 1)
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
    return QByteArray(reinterpret_cast<const char *>(digest), int(size));
}

} // namespace FileDigest
