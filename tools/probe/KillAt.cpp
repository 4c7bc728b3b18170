// Fault injection for the crash tests, in the probe only: with VELMORA_KILL_AT=N
// in the environment the probe kills itself (SIGKILL, nothing flushed, nothing
// cleaned up) when it passes the Nth crash point of a file operation.
#include "CrashPoint.h"

#include <QByteArray>
#include <atomic>
#include <csignal>
#include <unistd.h>

namespace {

std::atomic<long> g_killAt{0};
std::atomic<long> g_passed{0};

void countAndMaybeDie()
{
    if (g_passed.fetch_add(1) + 1 == g_killAt.load())
        kill(getpid(), SIGKILL);
}

[[maybe_unused]] const bool g_installed = [] {
    bool ok = false;
    const long n = qgetenv("VELMORA_KILL_AT").toLong(&ok);
    if (!ok || n <= 0)
        return false;
    g_killAt = n;
    CrashPoint::setHook(countAndMaybeDie);
    return true;
}();

} // namespace
