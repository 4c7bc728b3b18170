#pragma once

#include <QString>

// Holds or stops a duplicate comparison at an exact read: the hook runs after
// each chunk is read and counted, on the thread that read it. Linking this
// replaces the program's empty ContentComparison::chunkRead.
namespace ContentComparisonTesting {

using ReadHook = void (*)(const QString &path, qint64 offset);
void setReadHook(ReadHook hook);

} // namespace ContentComparisonTesting
