#include "ChunkBuffers.h"

#include <utility>

namespace ChunkBuffers {

namespace {

constexpr qint64 kMaxSpareBytes = 16 * 1024 * 1024;

struct Spares
{
    std::mutex mutex;
    std::vector<Buffer> buffers;
    qint64 bytes = 0;
};

Spares &spares()
{
    static Spares shared;
    return shared;
}

} // namespace

Buffer get()
{
    Spares &pool = spares();
    {
        std::lock_guard lock(pool.mutex);
        if (!pool.buffers.empty()) {
            Buffer buffer = std::move(pool.buffers.back());
            pool.buffers.pop_back();
            pool.bytes -= qint64(buffer->capacity());
            return buffer;
        }
    }
    return std::make_unique<Bytes>();
}

void put(Buffer buffer)
{
    Spares &pool = spares();
    std::lock_guard lock(pool.mutex);
    if (pool.bytes + qint64(buffer->capacity()) > kMaxSpareBytes)
        return; // freed
    pool.bytes += qint64(buffer->capacity());
    pool.buffers.push_back(std::move(buffer));
}

Chunk keep(Buffer &bytes)
{
    Buffer holder = std::exchange(bytes, get());
    return Chunk(holder.release(),
                 [](const Bytes *done) { put(Buffer(const_cast<Bytes *>(done))); });
}

} // namespace ChunkBuffers
