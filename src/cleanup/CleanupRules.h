#pragma once

#include "CleanupItem.h"
#include "RunningApplications.h"

#include <QList>
#include <QString>

// The plain rules of the cache scanner: safe to call from any thread.
namespace CleanupRules {

struct Protection
{
    bool isProtected = false;
    QString reason; // empty when not protected
};

// System caches are protected: first by prefix, then by exact name.
Protection protectionInfo(const QString &name);

// "com.vendor.Editor" reads "Editor"; any other name is shown as it is.
QString readableName(const QString &name);

// Whether a cache matches one of the running applications, by bundle identifier
// or by name.
bool isProbablyInUse(const CleanupItem &item, const QList<RunningApplication> &running);
// The first running application the cache matches, or null.
const RunningApplication *inUseBy(const CleanupItem &item,
                                  const QList<RunningApplication> &running);

} // namespace CleanupRules
