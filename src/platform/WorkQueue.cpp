#include "WorkQueue.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

namespace WorkPool {

// A pool of our own rather than Qt's global one: Qt draws some shapes and loads
// some images on the global pool, and a long walk must never keep the window
// from drawing.
QThreadPool *pool()
{
    static QThreadPool *pool = [] {
        auto *p = new QThreadPool(QCoreApplication::instance());
        p->setMaxThreadCount(std::max(1, QThread::idealThreadCount()));
        return p;
    }();
    return pool;
}

int threadCount()
{
    return std::max(1, pool()->maxThreadCount());
}

QThreadPool *removals()
{
    static QThreadPool *pool = [] {
        auto *p = new QThreadPool(QCoreApplication::instance());
        p->setMaxThreadCount(2);
        return p;
    }();
    return pool;
}

} // namespace WorkPool

namespace {
// How long a helper works before it lets other tasks of the pool have its thread.
constexpr qint64 kHelperSliceMs = 20;
} // namespace

struct WorkQueue::Shared
{
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Unit> units;
    int running = 0;     // units being run now, by anyone
    int helpers = 0;     // helper tasks posted and not yet ended
    bool closed = false; // the owner has returned: late helpers do nothing
    WalkControl::Handle control;

    // Takes the next unit, or nothing. Called with the mutex held.
    std::optional<Unit> take()
    {
        if (units.empty())
            return std::nullopt;
        Unit unit = std::move(units.front());
        units.pop_front();
        ++running;
        return unit;
    }
    void finished()
    {
        std::lock_guard lock(mutex);
        --running;
        changed.notify_all();
    }
};

WorkQueue::WorkQueue() : m_shared(std::make_shared<Shared>())
{
    m_shared->control = WalkControl::current();
}

WorkQueue::~WorkQueue()
{
    std::lock_guard lock(m_shared->mutex);
    m_shared->closed = true;
    m_shared->units.clear();
}

void WorkQueue::push(Unit unit)
{
    bool postHelper = false;
    {
        std::lock_guard lock(m_shared->mutex);
        m_shared->units.push_back(std::move(unit));
        // One helper per other thread of the pool, and only while there is work for it.
        if (m_shared->helpers < WorkPool::threadCount() - 1 &&
            qsizetype(m_shared->units.size()) > m_shared->helpers) {
            ++m_shared->helpers;
            postHelper = true;
        }
        m_shared->changed.notify_all();
    }
    if (postHelper)
        WorkPool::pool()->start([shared = m_shared] { help(shared); });
}

void WorkQueue::help(const std::shared_ptr<Shared> &shared)
{
    const WalkControl::Scope scope(shared->control);
    QElapsedTimer slice;
    slice.start();
    for (;;) {
        std::optional<Unit> unit;
        {
            std::lock_guard lock(shared->mutex);
            if (!shared->closed && slice.elapsed() < kHelperSliceMs)
                unit = shared->take();
            if (!unit) {
                // Back to the end of the pool's queue while work remains.
                const bool again = !shared->closed && !shared->units.empty();
                if (!again)
                    --shared->helpers;
                shared->changed.notify_all();
                if (again)
                    WorkPool::pool()->start([shared] { help(shared); });
                return;
            }
        }
        (*unit)();
        unit.reset(); // release what the unit holds before counting it done
        shared->finished();
    }
}

void WorkQueue::run()
{
    Shared &shared = *m_shared;
    for (;;) {
        std::optional<Unit> unit;
        {
            std::unique_lock lock(shared.mutex);
            shared.changed.wait(lock, [&] { return !shared.units.empty() || shared.running == 0; });
            unit = shared.take();
            if (!unit)
                return; // nothing queued and nothing running: all done
        }
        (*unit)();
        unit.reset();
        shared.finished();
    }
}
