#pragma once

#include <QtGlobal>
#include <atomic>
#include <memory>

// What a scanner and its background walk share while the walk runs: a request
// to stop, and the counts the screen shows as progress.
//
// The walk's threads see the state through the functions below, installed for
// the current thread by a Scope (the pool tasks a walk starts install it too).
// A stop is checked per folder and per chunk read. A walk that is abandoned
// (its scanner gone, or a newer scan started) publishes nothing; one the user
// stopped publishes what it had finished.
namespace WalkControl {

struct State
{
    std::atomic<bool> stop{false};
    std::atomic<bool> keepPartial{false}; // the user stopped it: finished work counts
    std::atomic<qint64> entries{0};       // files and folders examined
    std::atomic<qint64> bytes{0};         // file content read to compare or hash
    std::atomic<qint64> skipped{0};       // entries that could not be read
};
using Handle = std::shared_ptr<State>;

Handle make();
// The state the current thread works under (nullptr when none).
Handle current();

bool stopRequested();
void countEntries(qint64 n = 1);
void countBytes(qint64 n);
void countSkipped(qint64 n = 1);

// Installs a state for the current thread while it lives.
class Scope
{
public:
    explicit Scope(Handle handle);
    ~Scope();
    Scope(const Scope &) = delete;
    Scope &operator=(const Scope &) = delete;

private:
    Handle m_previous;
};

} // namespace WalkControl
