#pragma once

#include <QtGlobal>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

// The buffers the side-by-side comparison reads into and keeps until hashed.
namespace ChunkBuffers {

inline constexpr qint64 kPage = 4096;

// Buffers start on a page: the kernel copies into an aligned buffer up to twice
// as fast as into one that is not.
template <typename T> struct PageAligned
{
    using value_type = T;
    PageAligned() = default;
    template <typename U> PageAligned(const PageAligned<U> &) {}
    T *allocate(size_t n)
    {
        return static_cast<T *>(::operator new(n * sizeof(T), std::align_val_t(kPage)));
    }
    void deallocate(T *p, size_t) { ::operator delete(p, std::align_val_t(kPage)); }
    bool operator==(const PageAligned &) const = default;
};
using Bytes = std::vector<char, PageAligned<char>>;
using Buffer = std::unique_ptr<Bytes>;
// Content compared and kept until every set that shares it has hashed it.
using Chunk = std::shared_ptr<const Bytes>;

// Buffers serve comparison after comparison (a scan compares set after set): a
// buffer taken from here has been written before, so reusing it never faults
// fresh pages in, which would cost more than the reads themselves. Spare
// buffers beyond a few megabytes are freed.
Buffer get();
void put(Buffer buffer);

// A chunk that holds the buffer `bytes`, which is left empty; the chunk's
// buffer comes back to the spares once the last set that needs it has hashed
// it.
Chunk keep(Buffer &bytes);

} // namespace ChunkBuffers
