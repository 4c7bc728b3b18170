#include "ContentComparison.h"

#include "ContentDigest.h"
#include "FileLocation.h"
#include "WalkControl.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <openssl/evp.h>
#include <optional>
#include <unistd.h>

namespace ContentComparison {

namespace {

// Small enough that a chunk is still in the processor's cache when it is compared
// right after being read.
constexpr qint64 kCompareChunk = 128 * 1024;

// One file being read, with its current chunk. Reads go through a buffer rather
// than a mapping: a file cut short while it is read must end its comparison, not
// the program.
struct Member
{
    int index;
    int fd;
    std::vector<char> chunk;
    qint64 got = 0;
};

// Files whose content has been equal so far.
struct Candidates
{
    std::vector<Member *> members;
    qint64 length = 0; // bytes found equal so far
};

qint64 readChunk(Member &m, qint64 offset)
{
    qint64 done = 0;
    const qint64 want = qint64(m.chunk.size());
    while (done < want) {
        const ssize_t n = ::pread(m.fd, m.chunk.data() + done, size_t(want - done), offset + done);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return -1;
        }
        if (n == 0)
            break;
        done += n;
    }
    WalkControl::countBytes(done);
    return done;
}

// SHA-256 of the first `length` bytes of an open file, read again from its start;
// nothing when it can no longer be read that far. Hashing waits until a set has
// proved identical to the end: files that part on the way (the usual fate of
// same-size files whose ends agree) cost a comparison, never a digest.
std::optional<QString> digestOf(int fd, qint64 length)
{
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> ctx(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    if (!ctx || EVP_DigestInit_ex(ctx.get(), EVP_sha256(), nullptr) != 1)
        return std::nullopt;
    std::vector<char> buffer(size_t(ContentDigest::kChunkBytes));
    qint64 offset = 0;
    while (offset < length) {
        if (WalkControl::stopRequested())
            return std::nullopt;
        const size_t want = size_t(std::min<qint64>(qint64(buffer.size()), length - offset));
        const ssize_t n = ::pread(fd, buffer.data(), want, offset);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return std::nullopt;
        EVP_DigestUpdate(ctx.get(), buffer.data(), size_t(n));
        WalkControl::countBytes(n);
        offset += n;
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    EVP_DigestFinal_ex(ctx.get(), digest, &size);
    return QString::fromLatin1(
        QByteArray(reinterpret_cast<const char *>(digest), int(size)).toHex());
}

bool sameChunk(const Member &a, const Member &b)
{
    return a.got == b.got && std::memcmp(a.chunk.data(), b.chunk.data(), size_t(a.got)) == 0;
}

// The fallback for large sets: one digest per file, grouped.
std::vector<IdenticalFiles> byDigest(const QList<QString> &paths)
{
    std::vector<IdenticalFiles> out;
    for (int i = 0; i < paths.size(); ++i) {
        const std::optional<QString> digest = ContentDigest::fileHash(paths.at(i));
        if (!digest)
            continue;
        auto it = std::find_if(out.begin(), out.end(),
                               [&](const IdenticalFiles &f) { return f.digest == *digest; });
        if (it == out.end())
            out.push_back({*digest, {i}});
        else
            it->members.push_back(i);
    }
    out.erase(std::remove_if(out.begin(), out.end(),
                             [](const IdenticalFiles &f) { return f.members.size() < 2; }),
              out.end());
    return out;
}

} // namespace

std::vector<IdenticalFiles> identicalContent(const QList<QString> &paths)
{
    if (paths.size() > kMaxSideBySide)
        return byDigest(paths);

    std::vector<Member> members;
    members.reserve(size_t(paths.size()));
    for (int i = 0; i < paths.size(); ++i) {
        const int fd = ContentDigest::openForReading(paths.at(i));
        if (fd < 0)
            continue;
        posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
        members.push_back({i, fd, std::vector<char>(size_t(kCompareChunk))});
    }

    std::vector<IdenticalFiles> done;
    std::vector<Candidates> open;
    if (members.size() >= 2) {
        Candidates all;
        for (Member &m : members)
            all.members.push_back(&m);
        open.push_back(std::move(all));
    }
    for (qint64 offset = 0; !open.empty() && !WalkControl::stopRequested();
         offset += kCompareChunk) {
        std::vector<Candidates> next;
        for (Candidates &set : open) {
            std::vector<Candidates> parts;
            for (Member *m : set.members) {
                m->got = readChunk(*m, offset);
                if (m->got < 0)
                    continue; // unreadable now: left out
                auto part = std::find_if(parts.begin(), parts.end(), [&](const Candidates &p) {
                    return sameChunk(*p.members.front(), *m);
                });
                if (part != parts.end()) {
                    part->members.push_back(m);
                } else {
                    parts.push_back(Candidates{{m}, set.length});
                }
            }
            for (Candidates &part : parts) {
                if (part.members.size() < 2)
                    continue; // unlike every other file: no need to read it further
                const Member &first = *part.members.front();
                if (first.got == 0) {
                    // Identical to the end: one digest serves the whole set.
                    const std::optional<QString> digest = digestOf(first.fd, part.length);
                    if (!digest)
                        continue;
                    IdenticalFiles same{*digest, {}};
                    for (const Member *m : part.members)
                        same.members.push_back(m->index);
                    done.push_back(std::move(same));
                    continue;
                }
                part.length += first.got;
                next.push_back(std::move(part));
            }
        }
        open = std::move(next);
    }
    for (Member &m : members)
        ::close(m.fd);
    std::sort(done.begin(), done.end(), [](const IdenticalFiles &a, const IdenticalFiles &b) {
        return a.members.front() < b.members.front();
    });
    return done;
}

} // namespace ContentComparison
