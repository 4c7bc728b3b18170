#pragma once

#include "WalkControl.h"

#include <QThreadPool>
#include <algorithm>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

// The one thread budget of the program: every walk and every hash runs on the
// program's own thread pool, sized to the cores, however many scanners run at once.
namespace WorkPool {

QThreadPool *pool();
int threadCount();
// Removals (Trash, uninstall, quarantine) are few and mostly wait on the disk;
// they have two threads of their own so they never queue behind long walks.
QThreadPool *removals();

} // namespace WorkPool

// Units of work shared by the thread that owns them and helper tasks on the
// pool. The owner works too and run() returns once every unit has run, units
// pushed by other units included. A helper works for a short slice and then
// goes to the back of the pool's queue, so the walks of several scanners take
// turns on the cores. The owner never waits for a helper that has not started,
// so it cannot deadlock when every pool thread is itself an owner.
class WorkQueue
{
public:
    using Unit = std::function<void()>;

    WorkQueue();
    ~WorkQueue();
    WorkQueue(const WorkQueue &) = delete;
    WorkQueue &operator=(const WorkQueue &) = delete;

    // From the owner or from a running unit.
    void push(Unit unit);
    // Works until nothing is queued and no unit runs.
    void run();

private:
    struct Shared;
    static void help(const std::shared_ptr<Shared> &shared);

    std::shared_ptr<Shared> m_shared;
};

// Runs work(i) for i in [0, count) on the pool; each index runs exactly once.
// work must only touch its own index's data. A stopped walk leaves the rest
// undone.
template <typename Work> void parallelFor(qsizetype count, Work work)
{
    if (count <= 0)
        return;
    WorkQueue queue;
    // Indices go in runs, so that a million tiny units cost a few thousand pushes.
    const qsizetype run = std::max<qsizetype>(1, count / (WorkPool::threadCount() * 64));
    for (qsizetype first = 0; first < count; first += run)
        queue.push([&work, first, last = std::min(count, first + run)] {
            for (qsizetype i = first; i < last && !WalkControl::stopRequested(); ++i)
                work(i);
        });
    queue.run();
}
