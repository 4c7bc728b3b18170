#pragma once

#include <QString>

// Where the Mac-shaped places are. The home folder comes from HOME and the
// system root (under which "Applications" and "Library" live) from VELMORA_ROOT,
// so every scanner works the same on a real system and on a tree anywhere.
namespace SystemLayout {

QString homeFolder();
QString systemRoot();               // "/" unless VELMORA_ROOT names another folder
QString applicationSupportFolder(); // home + "Library/Application Support"
QString userLibraryFolder();        // home + "Library"
QString userCachesFolder();         // home + "Library/Caches"
QString userApplicationsFolder();   // home + "Applications"
QString systemApplicationsFolder(); // root + "Applications"
QString systemLibraryFolder();      // root + "Library"
// Where quarantined items lie: application support + "Velmora/Quarantine".
// It belongs to the quarantine alone; no scan offers what is inside.
QString quarantineFolder();

// The path as seen from the system root: "/Applications/X.app" for
// root + "/Applications/X.app", so rules written for "/" hold under any root.
// A path outside the root is returned unchanged.
QString pathRelativeToRoot(const QString &path);

} // namespace SystemLayout
