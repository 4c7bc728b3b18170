#include "ContentComparison.h"

#include "ChunkBuffers.h"
#include "ComparisonParts.h"
#include "ContentDigest.h"
#include "FileDigest.h"
#include "WalkControl.h"
#include "WorkQueue.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <unordered_map>
#include <utility>

namespace ContentComparison {

namespace {

using namespace Parts;

// Large enough that a read costs little per byte, small enough that a chunk is
// still in the processor's cache when it is compared and hashed right after.
constexpr qint64 kMaxChunk = 256 * 1024;
// Below this many bytes in a wave, reading on this thread alone costs less
// than handing the reads out.
constexpr qint64 kParallelBytes = 1024 * 1024;
// How far the digests may trail the comparison, over all the sets of one
// comparison. Content compared but not yet hashed is kept (one copy per set),
// so that sets that part within their first kHashLag bytes (files that differ
// only in the middle are common: disk images, databases, containers) cost a
// comparison and no digest. Past that, the sets that are still alike are most
// likely identical: their digests follow within kHashTrail, hashing chunks
// while they are still in the processor's cache.
constexpr qint64 kHashLag = 8 * 1024 * 1024;
constexpr qint64 kHashTrail = 1024 * 1024;
// Differences lie mostly near one end (a header, a trailing index, a footer, a
// log's tail), so windows that grow are compared at both ends in turn before
// the middle: the last 64 KiB, the first 64 KiB, the rest of the last MiB, the
// rest of the first MiB; then the march from the first MiB on. The front
// windows are the march's own first chunks, hashed as it goes; the end windows
// are only compared, and the march reads them again from the page cache for
// the digest of a set that is still alike there. Shorter files are simply read
// from the front.
constexpr qint64 kSmallWindow = 64 * 1024;
constexpr qint64 kLargeWindow = 1024 * 1024;
constexpr qint64 kWindowsFrom = 8 * 1024 * 1024;

class Comparison
{
public:
    explicit Comparison(const QList<QString> &paths);
    ~Comparison();
    Comparison(const Comparison &) = delete;
    Comparison &operator=(const Comparison &) = delete;

    std::vector<IdenticalFiles> run();

private:
    qint64 read(const Member &member, char *buffer, qint64 length, qint64 offset) const;
    // With `onlyCompare`, the chunk tells files apart and is neither kept for
    // the digest nor taken as the end of the files.
    void split(Part part, qint64 offset, qint64 chunk, bool onlyCompare, Scratch &scratch,
               Outcome &out) const;
    // Splits every open set at one place, side by side on the cores.
    // A set that goes on hashes its oldest chunks until at most `keep` bytes
    // wait, on the core that just read them (none when `keep` is negative).
    std::vector<Part> splitAll(std::vector<Part> open, qint64 offset, qint64 chunk,
                               bool onlyCompare, qint64 keep, std::vector<IdenticalFiles> &done);
    std::unique_ptr<Scratch> takeScratch();
    void giveBack(std::unique_ptr<Scratch> scratch);

    std::vector<Member> m_members;
    qint64 m_length = -1; // of the files, as the first one readable says
    bool m_keepOpen = true;
    std::mutex m_scratchMutex;
    // One per set split at once, each with the thread that last used it: a
    // thread takes back its own, whose buffers are still in its core's cache.
    std::vector<std::pair<std::thread::id, std::unique_ptr<Scratch>>> m_scratch;
};

Comparison::Comparison(const QList<QString> &paths)
    : m_keepOpen(paths.size() <= openFileAllowance())
{
    m_members.reserve(size_t(paths.size()));
    for (int i = 0; i < paths.size(); ++i) {
        Member member{i, paths.at(i)};
        if (m_keepOpen) {
            member.fd = ContentDigest::openForReading(member.path);
            if (member.fd < 0)
                continue; // unreadable: left out
            posix_fadvise(member.fd, 0, 0, POSIX_FADV_SEQUENTIAL);
        }
        if (m_length < 0) {
            struct stat st
            {};
            const int fd = member.fd >= 0 ? member.fd : ContentDigest::openForReading(member.path);
            if (fd >= 0 && fstat(fd, &st) == 0)
                m_length = qint64(st.st_size);
            if (fd >= 0 && fd != member.fd)
                ::close(fd);
        }
        m_members.push_back(std::move(member));
    }
}

std::unique_ptr<Scratch> Comparison::takeScratch()
{
    std::lock_guard lock(m_scratchMutex);
    if (m_scratch.empty())
        return std::make_unique<Scratch>();
    const auto own = std::find_if(m_scratch.begin(), m_scratch.end(), [](const auto &entry) {
        return entry.first == std::this_thread::get_id();
    });
    const auto taken = own != m_scratch.end() ? own : std::prev(m_scratch.end());
    std::unique_ptr<Scratch> scratch = std::move(taken->second);
    m_scratch.erase(taken);
    return scratch;
}

void Comparison::giveBack(std::unique_ptr<Scratch> scratch)
{
    std::lock_guard lock(m_scratchMutex);
    m_scratch.emplace_back(std::this_thread::get_id(), std::move(scratch));
}

Comparison::~Comparison()
{
    for (const Member &member : m_members)
        if (member.fd >= 0)
            ::close(member.fd);
}

qint64 Comparison::read(const Member &member, char *buffer, qint64 length, qint64 offset) const
{
    int fd = member.fd;
    if (fd < 0) {
        fd = ContentDigest::openForReading(member.path);
        if (fd < 0)
            return -1;
    }
    const qint64 got = FileDigest::readAt(fd, buffer, length, offset);
    if (fd != member.fd)
        ::close(fd);
    if (got > 0)
        WalkControl::countBytes(got);
    chunkRead(member.path, offset);
    return got;
}

// Splits `part` by its chunk at `offset`: sets of two or more that go on, sets
// that reached the end together, and files unlike every content this pass
// could hold, to be split at the same place, go to `out`. A lone file is
// unlike every other and is read no further.
void Comparison::split(Part part, qint64 offset, qint64 chunk, bool onlyCompare, Scratch &scratch,
                       Outcome &out) const
{
    std::vector<ChunkBuffers::Buffer> &buffers = scratch.buffers;
    std::vector<qint64> &gotOf = scratch.got;
    std::vector<char> &likeFirst = scratch.likeFirst;
    std::vector<Way> &wayOf = scratch.ways;
    std::vector<size_t> &printOf = scratch.prints;
    const std::vector<Member *> &members = part.members;
    const int maxWays = waysFor(chunk);
    const qsizetype waveSize = std::max<qsizetype>(2, kMemoryBudget / chunk - maxWays);
    int ways = 0;
    std::vector<Member *> leftOver;
    struct Lone
    {
        Member *member;
        qint64 got;
        bool leftOver;   // it and every later file with its print are split again
        qsizetype wave;  // the wave it was read in, and its place there: within
        qsizetype index; // that wave its bytes are still at hand
    };
    std::unordered_map<size_t, Lone> lone;
    for (qsizetype start = 0; start < qsizetype(members.size()); start += waveSize) {
        if (WalkControl::stopRequested())
            return;
        const qsizetype n = std::min(waveSize, qsizetype(members.size()) - start);
        while (qsizetype(buffers.size()) < n)
            buffers.push_back(ChunkBuffers::get());
        while (qsizetype(buffers.size()) > n) { // fewer files, larger chunks
            if (buffers.back())
                ChunkBuffers::put(std::move(buffers.back()));
            buffers.pop_back();
        }
        const auto slotOf = [&](qsizetype i) {
            if (!buffers[size_t(i)]) // given to a content kept for its digest
                buffers[size_t(i)] = ChunkBuffers::get();
            ChunkBuffers::Bytes &slot = *buffers[size_t(i)];
            if (qint64(slot.size()) < chunk)
                slot.resize(size_t(chunk));
            return slot.data();
        };
        gotOf.assign(size_t(n), -1);
        likeFirst.assign(size_t(n), 0);
        printOf.assign(size_t(n), 0);

        // The first content of the part: that of its first readable file.
        qsizetype readAlready = 0;
        if (ways == 0) {
            for (; readAlready < n && ways == 0; ++readAlready) {
                char *slot = slotOf(readAlready);
                const qint64 got = read(*members[size_t(start + readAlready)], slot, chunk, offset);
                gotOf[size_t(readAlready)] = got;
                if (got < 0)
                    continue;
                Way &first = wayOf[0];
                std::swap(first.bytes, buffers[size_t(readAlready)]); // taken, not copied
                first.got = got;
                first.members.clear();
                likeFirst[size_t(readAlready)] = 1;
                ways = 1;
            }
        }
        if (ways == 0)
            continue; // nothing readable in this wave
        const Way &first = wayOf[0];
        // Each file is read and compared with the first content.
        const auto unit = [&](qsizetype i) {
            if (i < readAlready)
                return;
            char *slot = slotOf(i);
            const qint64 got = read(*members[size_t(start + i)], slot, chunk, offset);
            gotOf[size_t(i)] = got;
            if (got < 0)
                return;
            likeFirst[size_t(i)] =
                got == first.got && std::memcmp(slot, first.bytes->data(), size_t(got)) == 0;
            if (!likeFirst[size_t(i)])
                printOf[size_t(i)] =
                    printAt(slot, got,
                            firstDifference(slot, first.bytes->data(), std::min(got, first.got)));
        };
        if ((n - readAlready) * chunk >= kParallelBytes) {
            parallelFor(n, unit);
        } else {
            for (qsizetype i = 0; i < n; ++i)
                unit(i);
        }
        if (WalkControl::stopRequested())
            return;

        for (qsizetype i = 0; i < n; ++i) {
            Member *member = members[size_t(start + i)];
            const qint64 got = gotOf[size_t(i)];
            if (got < 0)
                continue; // unreadable now: left out
            if (likeFirst[size_t(i)]) {
                wayOf[0].members.push_back(member);
                continue;
            }
            const char *slot = buffers[size_t(i)]->data();
            const size_t print = printOf[size_t(i)];
            int w = 1;
            while (w < ways &&
                   !(wayOf[size_t(w)].print == print && wayOf[size_t(w)].got == got &&
                     std::memcmp(slot, wayOf[size_t(w)].bytes->data(), size_t(got)) == 0))
                ++w;
            if (w < ways) {
                wayOf[size_t(w)].members.push_back(member);
                continue;
            }
            // A content met once is only remembered by its print: most are
            // unlike every other file and never need their bytes again. The
            // second file with that print reads the first one's chunk again,
            // and the two become a content of this pass once found equal.
            const auto [seen, fresh] = lone.try_emplace(print, Lone{member, got, false, start, i});
            if (fresh)
                continue;
            Lone &met = seen->second;
            if (met.leftOver || ways == maxWays) {
                if (!met.leftOver)
                    leftOver.push_back(met.member);
                met.leftOver = true;
                leftOver.push_back(member);
                continue;
            }
            bool same = false;
            if (met.got == got && met.wave == start) {
                same = std::memcmp(buffers[size_t(met.index)]->data(), slot, size_t(got)) == 0;
            } else if (met.got == got) {
                ChunkBuffers::Buffer again = ChunkBuffers::get();
                if (qint64(again->size()) < chunk)
                    again->resize(size_t(chunk));
                same = read(*met.member, again->data(), chunk, offset) == got &&
                       std::memcmp(again->data(), slot, size_t(got)) == 0;
                ChunkBuffers::put(std::move(again));
            }
            // Two contents with one print (or the first file changed): this
            // one's content is kept with its bytes, as any content the pass
            // holds; the first stays remembered by its print.
            if (!same && ways == maxWays) {
                leftOver.push_back(member);
                continue;
            }
            Way &way = wayOf[size_t(ways++)];
            std::swap(way.bytes, buffers[size_t(i)]); // taken, not copied
            way.got = got;
            way.print = print;
            way.members.assign(1, member);
            if (same) {
                way.members.insert(way.members.begin(), met.member);
                lone.erase(seen);
            }
        }
    }

    // Every set that goes on from here shares the content so far. Two or more
    // have it hashed once, then each carries a copy of the digest; a lone one
    // takes the digest and what waits to be hashed as they are.
    int goingOn = leftOver.size() >= 2 ? 1 : 0;
    for (int w = 0; w < ways; ++w)
        goingOn += wayOf[size_t(w)].members.size() >= 2 ? 1 : 0;
    if (goingOn >= 2)
        part.hashPending();
    const auto carryOn = [&](std::vector<Member *> members) {
        return Part{std::move(members),
                    goingOn == 1 ? std::move(part.hasher) : FileDigest::Hasher(part.hasher),
                    std::move(part.pending), std::exchange(part.pendingBytes, 0)};
    };
    if (leftOver.size() >= 2)
        out.again.push_back(carryOn(std::move(leftOver)));
    for (int w = 0; w < ways; ++w) {
        Way &way = wayOf[size_t(w)];
        if (way.members.size() < 2)
            continue; // unlike every other file: no need to read it further
        Part set = carryOn(std::move(way.members));
        if (onlyCompare) {
            out.next.push_back(std::move(set));
            continue;
        }
        set.pendingBytes += way.got;
        way.bytes->resize(size_t(way.got)); // a last chunk may be short
        set.pending.push_back(ChunkBuffers::keep(way.bytes));
        if (way.got > 0) {
            out.next.push_back(std::move(set));
            continue;
        }
        // Identical to the end: the digest of the content compared is theirs.
        set.hashPending();
        const std::optional<QByteArray> digest = set.hasher.finish();
        if (!digest)
            continue;
        IdenticalFiles same{QString::fromLatin1(digest->toHex()), {}};
        for (const Member *member : set.members)
            same.members.push_back(member->index);
        out.done.push_back(std::move(same));
    }
    for (int w = 0; w < ways; ++w)
        wayOf[size_t(w)].members.clear();
}

std::vector<Part> Comparison::splitAll(std::vector<Part> open, qint64 offset, qint64 chunk,
                                       bool onlyCompare, qint64 keep,
                                       std::vector<IdenticalFiles> &done)
{
    std::vector<Part> next;
    std::vector<Part> work = std::move(open);
    while (!work.empty() && !WalkControl::stopRequested()) {
        std::vector<Outcome> outcomes(work.size());
        const auto splitOne = [&](qsizetype i) {
            std::unique_ptr<Scratch> scratch = takeScratch();
            Outcome &outcome = outcomes[size_t(i)];
            split(std::move(work[size_t(i)]), offset, chunk, onlyCompare, *scratch, outcome);
            giveBack(std::move(scratch));
            if (keep >= 0)
                for (Part &part : outcome.next)
                    part.hashPending(keep);
        };
        if (work.size() == 1)
            splitOne(0);
        else
            parallelFor(qsizetype(work.size()), splitOne);
        work.clear();
        for (Outcome &outcome : outcomes) {
            std::move(outcome.next.begin(), outcome.next.end(), std::back_inserter(next));
            std::move(outcome.again.begin(), outcome.again.end(), std::back_inserter(work));
            std::move(outcome.done.begin(), outcome.done.end(), std::back_inserter(done));
        }
    }
    return next;
}

std::vector<IdenticalFiles> Comparison::run()
{
    std::vector<IdenticalFiles> done;
    std::vector<Part> open;
    if (m_members.size() >= 2) {
        Part all;
        for (Member &member : m_members)
            all.members.push_back(&member);
        open.push_back(std::move(all));
    }
    const bool windows = m_length >= kWindowsFrom;
    qint64 endCompared = 0; // bytes before the end compared so far
    const auto compareEnd = [&](qint64 window) {
        while (endCompared < window && !open.empty() && !WalkControl::stopRequested()) {
            const qint64 chunk = std::min(kMaxChunk, window - endCompared);
            endCompared += chunk;
            open = splitAll(std::move(open), m_length - endCompared, chunk, true, -1, done);
        }
    };
    for (qint64 offset = 0; !open.empty() && !WalkControl::stopRequested();) {
        if (windows && (offset == 0 || offset == kSmallWindow)) {
            compareEnd(offset == 0 ? kSmallWindow : kLargeWindow);
            if (open.empty())
                break;
        }
        // Large chunks, however many files are still alike: a large set is
        // read in waves (see split), so memory stays bounded and each read
        // costs few system calls per byte.
        const qint64 chunk = !windows || offset >= kLargeWindow ? kMaxChunk
                             : offset < kSmallWindow            ? kSmallWindow
                                                     : std::min(kMaxChunk, kLargeWindow - offset);
        // Past the lag, every set hashes its oldest chunks right after
        // reading, on the core that read them.
        qint64 waiting = 0;
        for (const Part &part : open)
            waiting += part.pendingBytes + chunk;
        const qint64 lag = offset + chunk <= kHashLag ? kHashLag : kHashTrail;
        const qint64 keep =
            waiting > lag && !open.empty() ? lag / 2 / qint64(open.size()) : qint64(-1);
        open = splitAll(std::move(open), offset, chunk, false, keep, done);
        offset += chunk;
    }
    // Stopped early, the sets proven to the end still count: each is whole.
    std::sort(done.begin(), done.end(), [](const IdenticalFiles &a, const IdenticalFiles &b) {
        return a.members.front() < b.members.front();
    });
    return done;
}

} // namespace

std::vector<IdenticalFiles> identicalContent(const QList<QString> &paths)
{
    return Comparison(paths).run();
}

} // namespace ContentComparison
