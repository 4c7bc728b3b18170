// The gate the long-scan shots hold a scan at, so that what they show is the same
// on every run. Its definitions take the place of the program's empty pass points
// of the walker and of the duplicate comparison, as tools/probe/KillAt.cpp does
// for the crash points; the shipped app never links this file.
#include "ContentComparison.h"
#include "RegularFileWalk.h"
#include "ShotSession.h"

#include <condition_variable>
#include <mutex>
#include <optional>

namespace {

std::mutex g_lock;
std::condition_variable g_opened;
std::optional<ShotGate::Point> g_closed; // where it holds; nothing while open
bool g_reached = false;

void waitWhileClosed(ShotGate::Point point)
{
    std::unique_lock lock(g_lock);
    if (g_closed != point)
        return;
    g_reached = true;
    g_opened.wait(lock, [] { return !g_closed; });
}

} // namespace

void ShotGate::close(Point point)
{
    const std::lock_guard lock(g_lock);
    g_closed = point;
    g_reached = false;
}

void ShotGate::open()
{
    {
        const std::lock_guard lock(g_lock);
        g_closed.reset();
    }
    g_opened.notify_all();
}

bool ShotGate::reached()
{
    const std::lock_guard lock(g_lock);
    return g_reached;
}

// Every folder below the root waits: the root's entries are all the walk has
// counted, and once opened after a stop, no other folder is read.
void RegularFileWalk::folderReached(const QByteArray &, int level)
{
    if (level > 1)
        waitWhileClosed(ShotGate::Point::folder);
}

// A comparison waits once the chunk at its second megabyte is read and counted,
// as the duplicates journey holds it.
void ContentComparison::chunkRead(const QString &, qint64 offset)
{
    if (offset == 1 << 20)
        waitWhileClosed(ShotGate::Point::comparison);
}
