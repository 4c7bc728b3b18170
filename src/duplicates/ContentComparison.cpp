#include "ContentComparison.h"

#include "ContentDigest.h"
#include "FileLocation.h"
#include "WalkControl.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
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
    const qint64 got = FileDigest::readAt(m.fd, m.chunk.data(), qint64(m.chunk.size()), offset);
    if (got > 0)
        WalkControl::countBytes(got);
    return got;
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
                    // Identical to the end: one digest serves the whole set. Hashing
                    // waits until a set has proved identical: files that part on
                    // the way cost a comparison, never a digest.
                    const std::optional<QString> digest =
                        ContentDigest::hashOpenFile(first.fd, part.length);
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
