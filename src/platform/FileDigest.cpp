#include "FileDigest.h"

#include "WalkControl.h"

#include <cerrno>
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

void Hasher::Free::operator()(evp_md_ctx_st *ctx) const
{
    EVP_MD_CTX_free(ctx);
}

Hasher::Hasher(Algorithm algorithm) : m_ctx(EVP_MD_CTX_new())
{
    const EVP_MD *md = algorithm == Algorithm::sha1 ? EVP_sha1() : EVP_sha256();
    if (m_ctx && EVP_DigestInit_ex(m_ctx.get(), md, nullptr) != 1)
        m_ctx.reset();
}

Hasher::Hasher(const Hasher &other) : m_ctx(other.m_ctx ? EVP_MD_CTX_new() : nullptr)
{
    if (m_ctx && EVP_MD_CTX_copy_ex(m_ctx.get(), other.m_ctx.get()) != 1)
        m_ctx.reset();
}

Hasher::~Hasher() = default;

void Hasher::update(const char *data, qint64 size)
{
    if (m_ctx && size > 0 && EVP_DigestUpdate(m_ctx.get(), data, size_t(size)) != 1)
        m_ctx.reset();
}

std::optional<QByteArray> Hasher::finish()
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    if (!m_ctx || EVP_DigestFinal_ex(m_ctx.get(), digest, &size) != 1)
        return std::nullopt;
    m_ctx.reset();
    return QByteArray(reinterpret_cast<const char *>(digest), int(size));
}

std::optional<QByteArray> ofOpenFile(int fd, Algorithm algorithm, std::optional<qint64> length)
{
    Hasher hasher(algorithm);
    if (!hasher.isValid())
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
        hasher.update(chunk.data(), n);
        WalkControl::countBytes(n);
        offset += n;
        if (n < want)
            break; // the end of the file
    }
    return hasher.finish();
}

} // namespace FileDigest
