// Fault injection for the crash tests, in the probe only: with VELMORA_KILL_AT=N
// in the environment the probe kills itself (SIGKILL, nothing flushed, nothing
// cleaned up) when it passes the Nth crash point of a file operation. This
// definition of CrashPoint::pass replaces the empty one of the shipped program.
#include "CrashPoint.h"

#include <QByteArray>
#include <atomic>
#include <csignal>
#include <unistd.h>

namespace {

std::atomic<long> g_passed{0};

long killAt()
{
    static const long n = [] {
        bool ok = false;
        const long value = qgetenv("VELMORA_KILL_AT").toLong(&ok);
        return ok && value > 0 ? value : 0;
    }();
    return n;
}

} // namespace

void CrashPoint::pass()
{
    if (killAt() > 0 && g_passed.fetch_add(1) + 1 == killAt())
        kill(getpid(), SIGKILL);
}
