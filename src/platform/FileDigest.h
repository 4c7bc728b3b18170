#pragma once

#include <QByteArray>
#include <memory>
#include <optional>

struct evp_md_ctx_st;

// Reading and hashing files by offset, shared by the duplicate finder and the
// signature check. Hashing reads in large chunks, stops when the walk is told
// to, and counts the bytes it read as the walk's progress.
namespace FileDigest {

enum class Algorithm
{
    sha1,
    sha256,
};

inline constexpr qint64 kChunkBytes = 512 * 1024;

// A digest fed piece by piece. A copy carries on from the same point, so one
// prefix hashed once can continue into several different endings.
class Hasher
{
public:
    explicit Hasher(Algorithm algorithm = Algorithm::sha256);
    Hasher(const Hasher &other);
    Hasher &operator=(const Hasher &other) = delete;
    Hasher(Hasher &&) noexcept = default;
    Hasher &operator=(Hasher &&) noexcept = default;
    ~Hasher();

    bool isValid() const { return m_ctx != nullptr; }
    void update(const char *data, qint64 size);
    // The digest of everything fed so far; the hasher is spent afterwards.
    std::optional<QByteArray> finish();

private:
    struct Free
    {
        void operator()(evp_md_ctx_st *ctx) const;
    };
    std::unique_ptr<evp_md_ctx_st, Free> m_ctx;
};

// Reads up to `length` bytes at `offset`, retrying short reads; -1 on error.
qint64 readAt(int fd, char *buffer, qint64 length, qint64 offset);

// The digest of an open file from its start: its first `length` bytes, or all
// of it when no length is given; nothing when it cannot be read that far, or
// the walk was stopped.
std::optional<QByteArray> ofOpenFile(int fd, Algorithm algorithm,
                                     std::optional<qint64> length = std::nullopt);

} // namespace FileDigest
