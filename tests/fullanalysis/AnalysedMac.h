#pragma once

#include "TreeBuilder.h"

#include <QDateTime>

// A home and a system on which every figure of the full analysis has a value of
// its own, so that one read or shown in another's place cannot go unnoticed:
// 1 large file, 2 duplicate groups, 3 caches, 4 applications, 6 dangerous,
// 5 suspicious and 7 items to review.
inline void fillAnalysedMac(TreeBuilder &home, TreeBuilder &root)
{
    home.allocatedFile("Movies/big.mov", qint64(520) << 20);
    for (const QString folder : {"Documents/a/", "Documents/b/"}) {
        home.file(folder + "copy.bin", QByteArray(11 << 20, 'x'));
        home.allocatedFile(folder + "zeros.bin", 12 << 20);
    }
    // Large and old enough for the smart selection's balanced mode.
    home.sparseFile("Library/Caches/com.example.cache/data", 30 << 20);
    home.setModificationTime("Library/Caches/com.example.cache",
                             QDateTime::currentDateTimeUtc().addDays(-10));
    for (const char *cache : {"org.one/data", "org.two/data"})
        home.file(QStringLiteral("Library/Caches/") + cache, QByteArray(700, 'c'));
    // Each unsigned application is also one to review; so is each installer.
    for (const char *name : {"Tool", "Editor", "Viewer", "Player"})
        root.bundle(QStringLiteral("Applications/%1.app").arg(QLatin1String(name)),
                    {{"CFBundleIdentifier", QStringLiteral("org.%1").arg(QLatin1String(name))}},
                    false);
    for (int i = 0; i < 3; ++i)
        home.file(QStringLiteral("Downloads/setup%1.dmg").arg(i), "dmg");
    for (int i = 0; i < 5; ++i)
        home.file(QStringLiteral("Downloads/run%1.sh").arg(i), "#!/bin/sh\n");
    for (int i = 0; i < 6; ++i)
        home.plist(QStringLiteral("Library/LaunchAgents/org.agent%1.plist").arg(i),
                   {{"Label", QStringLiteral("org.agent%1").arg(i)},
                    {"Program", QStringLiteral("/tmp/agent%1.sh").arg(i)},
                    {"RunAtLoad", true}},
                   false);
}
