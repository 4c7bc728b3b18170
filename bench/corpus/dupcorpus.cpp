// The duplicate finder's corpora, from a seed:
//   dup-trap ROOT:       1,000 files of exactly 16 MiB; 40% differ from their twin in
//                        the first 4 KiB, 30% only in the last 4 KiB, 20% only in the
//                        middle, 10% are duplicate pairs.
//   dup-throughput ROOT: 30 groups × 3 copies of 32–256 MiB.
//   dup-threshold ROOT:  500,000 files under 10 MiB and 300 at or above it (a third
//                        of those in duplicate pairs).
//   dup-sameclass ROOT:  440 files of exactly 16 MiB in ten folders that all share
//                        their first and last 64 KiB (zeros, as in disk images and
//                        sparse databases) and one random body; 340 differ from
//                        every other file in one byte at a random place between
//                        the edges, the rest are 20 true pairs and 20 true triples
//                        (each set with a byte of its own).
//   dup-middle ROOT:     330 files of exactly 16 MiB in ten folders, variants of
//                        one body with zero edges: 132 differ in the first 4 KiB,
//                        99 only in the last 16 bytes, 66 only at the middle, and
//                        33 are 15 true pairs and a triple (differing from the
//                        others next to the middle).
//   dup-nearend, dup-nearstart, dup-lasttenth ROOT: 500 files of exactly 12 MiB,
//                        one random body, 400 unique by one byte and 50 true
//                        pairs, differing just before the last 4 KiB, just
//                        after the first 4 KiB, or anywhere in the last tenth.

#include "dupcorpus.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr long long MiB = 1024 * 1024;

struct Rng
{
    unsigned long long s;
    unsigned long long next()
    {
        s ^= s << 13;
        s ^= s >> 7;
        s ^= s << 17;
        return s;
    }
};

void fill(std::vector<char> &buffer, unsigned long long seed)
{
    Rng rng{seed * 2654435761ull + 1};
    auto *words = reinterpret_cast<unsigned long long *>(buffer.data());
    for (size_t i = 0; i < buffer.size() / 8; ++i)
        words[i] = rng.next();
}

// Writes `bytes` of content from `seed`; the byte at `patch` (if >= 0) is flipped.
void writeFile(const std::string &path, long long bytes, unsigned long long seed, long long patch)
{
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) {
        std::perror(path.c_str());
        std::exit(1);
    }
    std::vector<char> chunk(4 * MiB);
    long long written = 0;
    unsigned long long block = 0;
    while (written < bytes) {
        fill(chunk, seed * 1000003ull + block++);
        const long long n = std::min<long long>(bytes - written, (long long)chunk.size());
        if (patch >= written && patch < written + n)
            chunk[size_t(patch - written)] ^= 0x5a;
        if (write(fd, chunk.data(), size_t(n)) != n) {
            std::perror(path.c_str());
            std::exit(1);
        }
        written += n;
    }
    close(fd);
}

void makeDir(const std::string &path)
{
    mkdir(path.c_str(), 0755);
}

// Writes `copies` files of `body` with the byte at `patch` flipped by `value`,
// numbered on from *n across ten folders; the body is left as it was.
void writeVariant(const std::string &root, std::vector<char> &body, int *n, long long patch,
                  char value, int copies = 1)
{
    const char was = body[size_t(patch)];
    body[size_t(patch)] = char(was ^ value);
    for (int c = 0; c < copies; ++c) {
        const std::string dir = root + "/d" + std::to_string(*n % 10);
        makeDir(dir);
        const std::string path = dir + "/f" + std::to_string((*n)++);
        const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd < 0 || ::write(fd, body.data(), body.size()) != (ssize_t)body.size()) {
            std::perror(path.c_str());
            std::exit(1);
        }
        close(fd);
    }
    body[size_t(patch)] = was;
}

} // namespace

int makeDuplicateCorpus(const std::string &kind, const std::string &root)
{
    makeDir(root);
    if (kind == "dup-trap") {
        const long long size = 16 * MiB;
        for (int i = 0; i < 500; ++i) { // 500 pairs = 1,000 files
            const std::string dir = root + "/d" + std::to_string(i % 20);
            makeDir(dir);
            long long patch;
            if (i < 200)
                patch = 100; // first 4 KiB
            else if (i < 350)
                patch = size - 100; // last 4 KiB
            else if (i < 450)
                patch = size / 2; // middle
            else
                patch = -1; // identical pair
            writeFile(dir + "/a" + std::to_string(i), size, 1000 + i, -1);
            writeFile(dir + "/b" + std::to_string(i), size, 1000 + i, patch);
        }
        return 0;
    }
    if (kind == "dup-throughput") {
        Rng rng{42};
        for (int g = 0; g < 30; ++g) {
            const long long size = (32 + (long long)(rng.next() % 225)) * MiB;
            for (int c = 0; c < 3; ++c) {
                const std::string dir = root + "/copy" + std::to_string(c);
                makeDir(dir);
                writeFile(dir + "/g" + std::to_string(g) + ".bin", size, 5000 + g, -1);
            }
        }
        return 0;
    }
    if (kind == "dup-threshold") {
        for (int i = 0; i < 500000; ++i) {
            const std::string dir = root + "/small" + std::to_string(i % 500);
            if (i < 500)
                makeDir(dir);
            const int fd =
                open((dir + "/s" + std::to_string(i)).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            if (fd >= 0) {
                // Many small files share sizes: they must still never be opened.
                const std::string text(size_t(i % 64), 'x');
                if (!text.empty() && write(fd, text.data(), text.size()) < 0)
                    std::perror("write");
                close(fd);
            }
        }
        makeDir(root + "/large");
        for (int i = 0; i < 300; ++i) {
            const bool pair = i < 100;
            const long long size = pair ? (10 + (i / 2) % 20) * MiB : 10 * MiB + (i + 1) * 4096LL;
            writeFile(root + "/large/l" + std::to_string(i), size, pair ? 9000 + i / 2 : 20000 + i,
                      -1);
        }
        return 0;
    }
    if (kind == "dup-sameclass") {
        const long long size = 16 * MiB;
        const long long edge = 64 * 1024;
        Rng rng{777};
        // The body every file shares, zero edges included; then each file or set
        // flips one byte of its own somewhere in the middle.
        std::vector<char> body(size_t(size), 0);
        for (long long at = edge; at + 8 <= size - edge; at += 8) {
            const unsigned long long word = rng.next();
            std::memcpy(body.data() + at, &word, 8);
        }
        const auto write = [&](const std::string &path, long long patch) {
            body[size_t(patch)] ^= 0x5a;
            const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            if (fd < 0 || ::write(fd, body.data(), body.size()) != (ssize_t)body.size()) {
                std::perror(path.c_str());
                std::exit(1);
            }
            close(fd);
            body[size_t(patch)] ^= 0x5a;
        };
        int n = 0;
        const auto place = [&] {
            const std::string dir = root + "/d" + std::to_string(n % 10);
            makeDir(dir);
            return dir + "/f" + std::to_string(n++);
        };
        for (int set = 0; set < 380; ++set) {
            const long long patch =
                edge + (long long)(rng.next() % (unsigned long long)(size - 2 * edge));
            const int copies = set < 340 ? 1 : set < 360 ? 2 : 3;
            for (int c = 0; c < copies; ++c)
                write(place(), patch);
        }
        return 0;
    }
    if (kind == "dup-middle") {
        const long long size = 16 * MiB;
        const long long edge = 4096;
        Rng rng{4242};
        std::vector<char> body(size_t(size), 0);
        for (long long at = edge; at + 8 <= size - edge; at += 8) {
            const unsigned long long word = rng.next();
            std::memcpy(body.data() + at, &word, 8);
        }
        int n = 0;
        const auto write = [&](long long patch, char value) {
            writeVariant(root, body, &n, patch, value);
        };
        // Each variant flips its own byte, so every file is unique but the sets.
        for (int i = 0; i < 132; ++i)
            write(i * 31, char(1 + i % 255));
        for (int i = 0; i < 99; ++i)
            write(size - 16 + i % 16, char(1 + i / 16));
        for (int i = 0; i < 66; ++i)
            write(size / 2, char(1 + i));
        for (int set = 0; set < 16; ++set)
            for (int c = 0; c < (set == 15 ? 3 : 2); ++c)
                write(size / 2 + 1, char(1 + set));
        return 0;
    }
    // 500 files of exactly 12 MiB in ten folders, one random body: 400 differ
    // from every other file in one byte of their own, the rest are 50 true pairs
    // (a byte of their own per pair). Where that byte lies names the corpus:
    // just before the last 4 KiB, just after the first 4 KiB, or anywhere in
    // the last tenth.
    if (kind == "dup-nearend" || kind == "dup-nearstart" || kind == "dup-lasttenth") {
        const long long size = 12 * MiB;
        const long long from = kind == "dup-nearend"     ? size - 4096 - 65536
                               : kind == "dup-nearstart" ? 4096
                                                         : size - size / 10;
        const long long span = kind == "dup-lasttenth" ? size / 10 : 65536;
        Rng rng{kind.size() * 7919ull};
        std::vector<char> body(static_cast<size_t>(size));
        fill(body, 99);
        int n = 0;
        for (int i = 0; i < 450; ++i)
            writeVariant(root, body, &n, from + (long long)(rng.next() % (unsigned long long)span),
                         char(1 + i % 255), i < 400 ? 1 : 2);
        return 0;
    }
    std::fprintf(stderr, "unknown corpus %s\n", kind.c_str());
    return 2;
}
