#include "ChunkBuffers.h"

#include <atomic>
#include <mutex>
#include <utility>

namespace ChunkBuffers {

namespace {

constexpr qint64 kMaxSpareBytes = 16 * 1024 * 1024;
// Spares one thread keeps to itself; more go where every thread may take them.
constexpr size_t kMaxOwnSpares = 16;

// Spare bytes over all threads.
std::atomic<qint64> spareBytes{0};

// Each thread first takes back the spares it gave back itself: a buffer it last
// wrote or read is still in its core's cache, and taking one another core
// wrote costs a transfer of every line of it (reads into such buffers were
// seen to run at half speed, and at different speeds from run to run). When
// it has none, it takes one another thread gave back: a fresh buffer costs
// more still, as every page of it faults in.
struct OwnSpares
{
    std::vector<Buffer> buffers;
    ~OwnSpares()
    {
        for (const Buffer &buffer : buffers)
            spareBytes.fetch_sub(qint64(buffer->capacity()));
    }
};

OwnSpares &ownSpares()
{
    thread_local OwnSpares own;
    return own;
}

struct SharedSpares
{
    std::mutex mutex;
    std::vector<Buffer> buffers;
};

SharedSpares &sharedSpares()
{
    static SharedSpares shared;
    return shared;
}

Buffer pop(std::vector<Buffer> &buffers)
{
    Buffer buffer = std::move(buffers.back());
    buffers.pop_back();
    spareBytes.fetch_sub(qint64(buffer->capacity()));
    return buffer;
}

} // namespace

Buffer get()
{
    if (OwnSpares &own = ownSpares(); !own.buffers.empty())
        return pop(own.buffers);
    SharedSpares &shared = sharedSpares();
    {
        std::lock_guard lock(shared.mutex);
        if (!shared.buffers.empty())
            return pop(shared.buffers);
    }
    return std::make_unique<Bytes>();
}

void put(Buffer buffer)
{
    const qint64 size = qint64(buffer->capacity());
    if (spareBytes.fetch_add(size) + size > kMaxSpareBytes) {
        spareBytes.fetch_sub(size);
        return; // freed
    }
    if (OwnSpares &own = ownSpares(); own.buffers.size() < kMaxOwnSpares) {
        own.buffers.push_back(std::move(buffer));
        return;
    }
    SharedSpares &shared = sharedSpares();
    std::lock_guard lock(shared.mutex);
    shared.buffers.push_back(std::move(buffer));
}

Chunk keep(Buffer &bytes)
{
    return Chunk(std::exchange(bytes, nullptr).release(),
                 [](const Bytes *done) { put(Buffer(const_cast<Bytes *>(done))); });
}

} // namespace ChunkBuffers
