#pragma once

// The points of a file operation that must survive a crash. The shipped app
// passes them at the cost of one load; the probe installs a hook there (see
// tools/probe/KillAt.cpp) so the crash tests can kill it at any one of them.
namespace CrashPoint {

using Hook = void (*)();

void setHook(Hook hook);
void pass();

} // namespace CrashPoint
