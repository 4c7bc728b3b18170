#pragma once

#include "ChunkBuffers.h"
#include "ContentComparison.h"
#include "FileDigest.h"

#include <QString>
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <deque>
#include <sys/resource.h>
#include <vector>

// The pieces a comparison works with: its files, the sets of files still
// alike, the contents one chunk shows, and what splitting one set needs.
namespace ContentComparison::Parts {

// Distinct contents one pass over a chunk keeps apart: as many as fit in 4 MiB,
// from 16 of the largest chunks to 64 of the 64 KiB windows. Files unlike all of
// them are split again at the same place in another pass, so that a set whose
// files all differ in one chunk never holds more than that besides its wave.
constexpr int kMaxWays = 64;
constexpr qint64 kWaysBytes = 4 * 1024 * 1024;
inline int waysFor(qint64 chunk)
{
    return int(std::clamp<qint64>(kWaysBytes / chunk, 16, kMaxWays));
}

struct Member
{
    int index;
    QString path;
    int fd = -1; // -1 when the set is too large to keep its files open
};

// Files whose content has been equal up to the current offset: the digest of
// that content so far, and the chunks compared since, not yet hashed.
struct Part
{
    std::vector<Member *> members;
    FileDigest::Hasher hasher;
    std::deque<ChunkBuffers::Chunk> pending;
    qint64 pendingBytes = 0;

    // Hashes the oldest pending chunks until at most `keep` bytes wait.
    void hashPending(qint64 keep = 0)
    {
        while (!pending.empty() && pendingBytes > keep) {
            hasher.update(pending.front()->data(), qint64(pending.front()->size()));
            pendingBytes -= qint64(pending.front()->size());
            pending.pop_front();
        }
    }
};

// One content met in a chunk, and the files that have it.
struct Way
{
    ChunkBuffers::Buffer bytes; // the buffer it was read into (none until used)
    qint64 got = 0;
    size_t print = 0; // of its bytes, to pass over most unlike contents without comparing
    std::vector<Member *> members;
};

// What splitting one set needs besides its files: a buffer per file of a
// wave, the contents met, and per file what was read. Buffers are taken as
// they are first needed: most sets are pairs, which never meet more than two
// contents.
struct Scratch
{
    std::vector<ChunkBuffers::Buffer> buffers;
    std::vector<qint64> got;
    std::vector<char> likeFirst;
    std::vector<size_t> prints; // of each file's chunk, when unlike the first content
    std::vector<Way> ways;

    Scratch() { ways.resize(kMaxWays); }
    ~Scratch()
    {
        for (ChunkBuffers::Buffer &slot : buffers)
            if (slot)
                ChunkBuffers::put(std::move(slot));
        for (Way &way : ways)
            if (way.bytes)
                ChunkBuffers::put(std::move(way.bytes));
    }
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;
};

// What splitting one set at one place gave.
struct Outcome
{
    std::vector<Part> next;  // sets that go on
    std::vector<Part> again; // files to split again at the same place
    std::vector<IdenticalFiles> done;
};

// Where two buffers first differ (`length` when they do not).
inline qint64 firstDifference(const char *a, const char *b, qint64 length)
{
    constexpr qint64 kBlock = 256;
    qint64 at = 0;
    while (at + kBlock <= length && std::memcmp(a + at, b + at, kBlock) == 0)
        at += kBlock;
    while (at < length && a[at] == b[at])
        ++at;
    return at;
}

// A print of a chunk unlike the first content: where it leaves that content and
// every byte from there to the chunk's end (the bytes before are the first
// content's). Equal chunks have equal prints; two different chunks have equal
// prints only by chance, and are then still told apart byte for byte. Files that
// differ from the first content beyond its own difference all leave it at that
// same place, so the print must reach past it. Four independent lanes keep the
// multiplier busy: a print costs about what a comparison of the same bytes does.
inline size_t printAt(const char *bytes, qint64 got, qint64 at)
{
    constexpr std::uint64_t kMul = 0x9e3779b97f4a7c15ULL;
    std::uint64_t lane[4] = {std::uint64_t(at) + 1, std::uint64_t(got) + 2, 3, 4};
    const char *p = bytes + at;
    qint64 left = got - at;
    for (; left >= 32; p += 32, left -= 32) {
        for (int k = 0; k < 4; ++k) {
            std::uint64_t word;
            std::memcpy(&word, p + 8 * k, 8);
            lane[k] = std::rotl((lane[k] ^ word) * kMul, 31);
        }
    }
    for (int k = 0; left > 0; ++k, p += 8, left -= 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, p, size_t(std::min<qint64>(8, left)));
        lane[k] = std::rotl((lane[k] ^ word) * kMul, 31);
    }
    std::uint64_t print = 0;
    for (const std::uint64_t value : lane) {
        print = (print ^ value) * kMul;
        print ^= print >> 32;
    }
    return size_t(print);
}

// How many files one comparison keeps open: a quarter of what the process may
// open, so that two comparisons side by side leave plenty for the rest.
inline int openFileAllowance()
{
    // Once: the soft limit goes up to the hard one (within reason), so that a
    // large class keeps its files open instead of opening one per chunk read.
    static const bool raised = [] {
        rlimit limit{};
        if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
            return false;
        const rlim_t wanted = std::min<rlim_t>(limit.rlim_max, 65536);
        if (limit.rlim_cur >= wanted)
            return false;
        limit.rlim_cur = wanted;
        return setrlimit(RLIMIT_NOFILE, &limit) == 0;
    }();
    Q_UNUSED(raised);
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return kMaxOpenFiles;
    return int(std::clamp<rlim_t>(limit.rlim_cur / 4, 16, kMaxOpenFiles));
}

} // namespace ContentComparison::Parts
