#include "ReadHook.h"

#include "ContentComparison.h"

#include <atomic>

namespace {
std::atomic<ContentComparisonTesting::ReadHook> g_hook{nullptr};
} // namespace

void ContentComparisonTesting::setReadHook(ReadHook hook)
{
    g_hook.store(hook);
}

void ContentComparison::chunkRead(const QString &path, qint64 offset)
{
    if (const ContentComparisonTesting::ReadHook hook = g_hook.load(std::memory_order_relaxed))
        hook(path, offset);
}
