#include "WalkControl.h"

#include <cerrno>
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

void countSkipped(const QString &path, SkipReason reason)
{
    if (t_state)
        t_state->addSkipped(path, reason);
}

void countUnlistedFolder(const QString &path, int errorNumber)
{
    if (errorNumber != ENOENT && errorNumber != ENOTDIR)
        countSkipped(path, skipReasonFor(errorNumber));
}

void State::addSkipped(const QString &path, SkipReason reason)
{
    if (skipped.fetch_add(1, std::memory_order_relaxed) >= kSkippedListed)
        return;
    const std::lock_guard lock(m_skippedLock);
    m_skippedList.append({path, reason});
}

QList<Skipped> State::skippedList() const
{
    const std::lock_guard lock(m_skippedLock);
    return m_skippedList;
}

SkipReason skipReasonFor(int errorNumber)
{
    switch (errorNumber) {
    case ENOENT:
    case ENOTDIR: // a folder replaced by something else since it was listed
        return SkipReason::vanished;
    case ELOOP:
        return SkipReason::linkLoop;
    default:
        return SkipReason::unreadable;
    }
}

QString caseName(SkipReason reason)
{
    switch (reason) {
    case SkipReason::unreadable:
        return QStringLiteral("unreadable");
    case SkipReason::vanished:
        return QStringLiteral("vanished");
    case SkipReason::linkLoop:
        return QStringLiteral("linkLoop");
    }
    return {};
}

QString reasonText(SkipReason reason)
{
    switch (reason) {
    case SkipReason::unreadable:
        return QStringLiteral("No se puede leer.");
    case SkipReason::vanished:
        return QStringLiteral("Desapareció durante el análisis.");
    case SkipReason::linkLoop:
        return QStringLiteral("Bucle de enlaces simbólicos.");
    }
    return {};
}

Scope::Scope(Handle handle) : m_previous(std::exchange(t_state, std::move(handle))) {}

Scope::~Scope()
{
    t_state = std::move(m_previous);
}

} // namespace WalkControl
