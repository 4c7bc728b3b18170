#pragma once

// The points of a file operation that must survive a crash. Each program links
// one definition of pass(): the shipped app and the tools an empty one (from
// CrashPointNone.cpp, a library of its own), the probe one that can kill it at
// any point (tools/probe/KillAt.cpp), so the crash tests can prove recovery.
// A definition in the program's own objects wins over the library's.
namespace CrashPoint {

void pass();

} // namespace CrashPoint
