#pragma once

#include <atomic>
#include <memory>

// Asks a background walk to stop: when its scanner is gone, or a newer scan of
// the same scanner has replaced it. The walk's thread, and the threads the walk
// starts, see the request through StopToken::requested(), checked per folder and
// per chunk read; what a stopped walk returns is never published.
namespace StopToken {

using Flag = std::shared_ptr<std::atomic<bool>>;

Flag make();
// The flag the current thread works under (nullptr when none).
Flag current();
bool requested();

// Installs a flag for the current thread while it lives.
class Scope
{
public:
    explicit Scope(Flag flag);
    ~Scope();
    Scope(const Scope &) = delete;
    Scope &operator=(const Scope &) = delete;

private:
    Flag m_previous;
};

} // namespace StopToken
