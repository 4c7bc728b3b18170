#include "CrashPoint.h"

#include <atomic>

namespace CrashPoint {

namespace {

std::atomic<Hook> g_hook{nullptr};

} // namespace

void setHook(Hook hook)
{
    g_hook.store(hook);
}

void pass()
{
    if (const Hook hook = g_hook.load(std::memory_order_relaxed))
        hook();
}

} // namespace CrashPoint
