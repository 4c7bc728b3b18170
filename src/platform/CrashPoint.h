#pragma once

// Fault injection for the crash tests: with VELMORA_KILL_AT=N in the environment
// the process kills itself (SIGKILL, nothing flushed, nothing cleaned up) when
// it passes the Nth point of a file operation that must survive a crash. Without
// the variable a point costs one load.
namespace CrashPoint {

void pass();

} // namespace CrashPoint
