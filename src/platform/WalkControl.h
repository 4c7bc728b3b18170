#pragma once

#include <QList>
#include <QString>
#include <QtGlobal>
#include <atomic>
#include <memory>
#include <mutex>

// What a scanner and its background walk share while the walk runs: a request
// to stop, and the counts the screen shows as progress.
//
// The walk's threads see the state through the functions below, installed for
// the current thread by a Scope (the pool tasks a walk starts install it too).
// A stop is checked per folder and per chunk read. A walk that is abandoned
// (its scanner gone, or a newer scan started) publishes nothing; one the user
// stopped publishes what it had finished.
namespace WalkControl {

// Why a walk left an entry out.
enum class SkipReason
{
    unreadable, // no permission, or the read failed
    vanished,   // gone between the listing and the reading
    linkLoop,   // a followed link leads back into itself
};
// What a failed open, stat or listing means for the entry.
SkipReason skipReasonFor(int errorNumber);
QString caseName(SkipReason reason);
// The sentence the screens show beside the path.
QString reasonText(SkipReason reason);

struct Skipped
{
    QString path;
    SkipReason reason;
};

// A home can hold any number of unreadable entries; the list names this many,
// the count stays exact.
constexpr qint64 kSkippedListed = 1000;

struct State
{
    std::atomic<bool> stop{false};
    std::atomic<bool> keepPartial{false}; // the user stopped it: finished work counts
    std::atomic<qint64> entries{0};       // files and folders examined
    std::atomic<qint64> bytes{0};         // file content read to compare or hash
    std::atomic<qint64> skipped{0};       // entries that could not be read

    // The first kSkippedListed entries counted in `skipped`, in no set order.
    QList<Skipped> skippedList() const;
    void addSkipped(const QString &path, SkipReason reason);

private:
    mutable std::mutex m_skippedLock;
    QList<Skipped> m_skippedList;
};
using Handle = std::shared_ptr<State>;

Handle make();
// The state the current thread works under (nullptr when none).
Handle current();

bool stopRequested();
void countEntries(qint64 n = 1);
void countBytes(qint64 n);
// An entry left out, named with the reason: the screens list it.
void countSkipped(const QString &path, SkipReason reason);
// A folder a scan looks for at a fixed place could not be listed. One that is
// not there, or is not a folder, is simply absent; anything else is left out.
void countUnlistedFolder(const QString &path, int errorNumber);

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
