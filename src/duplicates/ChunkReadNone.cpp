#include "ContentComparison.h"

// Nothing happens after a read in the shipped program.
void ContentComparison::chunkRead(const QString &, qint64) {}
