// The page cache's read rate on every core: the given files read with pread in
// 256 KiB chunks into page-aligned buffers, one thread per core, each thread a
// share of the files. The rate depends on where the bytes land (one buffer, or
// a few taking turns, stay in the core's cache), so each layout is tried and the
// best rate is printed, in bytes per second.
// Usage: velmora-bench-readrate FILE...   (warm the files first)
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr size_t kChunk = 256 * 1024;

double rate(const std::vector<const char *> &files, size_t buffers)
{
    const unsigned threads = std::max(1u, std::thread::hardware_concurrency());
    std::atomic<size_t> next{0};
    std::atomic<long long> total{0};
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> pool;
    for (unsigned t = 0; t < threads; ++t)
        pool.emplace_back([&] {
            char *region = static_cast<char *>(std::aligned_alloc(4096, kChunk * buffers));
            std::fill(region, region + kChunk * buffers, 1);
            long long bytes = 0;
            size_t turn = 0;
            for (size_t i; (i = next.fetch_add(1)) < files.size();) {
                const int fd = open(files[i], O_RDONLY);
                if (fd < 0)
                    continue;
                for (off_t offset = 0;;) {
                    char *buffer = region + kChunk * (turn++ % buffers);
                    const ssize_t got = pread(fd, buffer, kChunk, offset);
                    if (got <= 0)
                        break;
                    offset += got;
                    bytes += got;
                }
                close(fd);
            }
            total += bytes;
            std::free(region);
        });
    for (std::thread &thread : pool)
        thread.join();
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return double(total.load()) / seconds;
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<const char *> files(argv + 1, argv + argc);
    double best = 0;
    for (int round = 0; round < 2; ++round)
        for (size_t buffers : {1, 4, 16})
            best = std::max(best, rate(files, buffers));
    std::printf("%.0f\n", best);
    return 0;
}
