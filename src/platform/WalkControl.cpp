#include "WalkControl.h"

#include <utility>

namespace WalkControl {

namespace {
thread_local Handle t_state;
} // namespace

Handle make()
{
    return std::make_shared<State>();
}

Handle current()
{
    return t_state;
}

bool stopRequested()
{
    return t_state && t_state->stop.load(std::memory_order_relaxed);
}

void countEntries(qint64 n)
{
    if (t_state)
        t_state->entries.fetch_add(n, std::memory_order_relaxed);
}

void countBytes(qint64 n)
{
    if (t_state)
        t_state->bytes.fetch_add(n, std::memory_order_relaxed);
}

void countSkipped(qint64 n)
{
    if (t_state)
        t_state->skipped.fetch_add(n, std::memory_order_relaxed);
}

Scope::Scope(Handle handle) : m_previous(std::exchange(t_state, std::move(handle))) {}

Scope::~Scope()
{
    t_state = std::move(m_previous);
}

} // namespace WalkControl
