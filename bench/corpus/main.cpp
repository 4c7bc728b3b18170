// velmora-bench-corpus largefiles ROOT: builds the large-file walk corpus, a tree of
// about 1,000,000 entries, depth 8, with 2,000 application bundles full of files no
// walk may enter, plus one flat folder of 200,000 files. Most files are empty; a
// few hundred occupy 2 MiB so that the threshold keeps a small, checkable set.
// Deterministic: the same tree every time.

#include "dupcorpus.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

unsigned long long g_entries = 0;
unsigned g_seed = 12345;

unsigned next()
{
    g_seed = g_seed * 1103515245u + 12345u;
    return (g_seed >> 8) & 0xffffff;
}

void makeDir(const std::string &path)
{
    if (mkdir(path.c_str(), 0755) != 0 && errno != EEXIST) {
        std::perror(path.c_str());
        std::exit(1);
    }
    ++g_entries;
}

void makeFile(const std::string &path, off_t allocated)
{
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) {
        std::perror(path.c_str());
        std::exit(1);
    }
    if (allocated > 0)
        posix_fallocate(fd, 0, allocated);
    close(fd);
    ++g_entries;
}

constexpr off_t kLarge = 2 * 1024 * 1024;

void fillLeaf(const std::string &dir, int files)
{
    for (int i = 0; i < files; ++i) {
        const bool large = next() % 2600 == 0;
        const bool hidden = next() % 97 == 0;
        makeFile(dir + (hidden ? "/.f" : "/f") + std::to_string(i) + ".dat", large ? kLarge : 0);
    }
}

void makeBundle(const std::string &path)
{
    makeDir(path);
    makeDir(path + "/Contents");
    makeDir(path + "/Contents/MacOS");
    makeDir(path + "/Contents/Resources");
    makeFile(path + "/Contents/Info.plist", 0);
    makeFile(path + "/Contents/MacOS/exe", kLarge); // large, but inside a bundle
    for (int i = 0; i < 6; ++i)
        makeFile(path + "/Contents/Resources/r" + std::to_string(i), 0);
}

int g_bundles = 0;

// Folders at depths 1..6 with fan-out 5; the 15,625 leaves hold files, and every
// eighth leaf holds a folder one level deeper (depth 8 entries).
void branch(const std::string &dir, int depth)
{
    if (depth == 7) {
        fillLeaf(dir, 48);
        if (g_bundles < 2000 && next() % 8 < 1) {
            makeBundle(dir + "/Tool" + std::to_string(g_bundles) + ".app");
            ++g_bundles;
        }
        if (next() % 8 == 0) {
            makeDir(dir + "/deep");
            fillLeaf(dir + "/deep", 4);
        }
        return;
    }
    for (int i = 0; i < 5; ++i) {
        const std::string child = dir + "/d" + std::to_string(i);
        makeDir(child);
        branch(child, depth + 1);
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr,
                     "usage: velmora-bench-corpus "
                     "largefiles|dup-trap|dup-throughput|dup-threshold|dup-sameclass|dup-middle|"
                     "dup-nearend|dup-nearstart|dup-lasttenth ROOT\n");
        return 2;
    }
    if (std::strncmp(argv[1], "dup-", 4) == 0)
        return makeDuplicateCorpus(argv[1], argv[2]);
    if (std::strcmp(argv[1], "largefiles") != 0)
        return 2;
    const std::string root = argv[2];
    makeDir(root);
    makeDir(root + "/tree");
    branch(root + "/tree", 1);
    // Bundles still missing are spread at the top.
    while (g_bundles < 2000)
        makeBundle(root + "/tree/Extra" + std::to_string(g_bundles++) + ".app");
    makeDir(root + "/flat");
    fillLeaf(root + "/flat", 200000);
    std::printf("%llu entries\n", g_entries);
    return 0;
}
