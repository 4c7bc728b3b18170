#pragma once

// Pulls the statically linked QML modules into an executable. Include it in
// exactly one source file of each program that loads Velmora's screens.
#include <QtQml/QQmlExtensionPlugin>

Q_IMPORT_QML_PLUGIN(VelmoraPlugin)
Q_IMPORT_QML_PLUGIN(Velmora_CorePlugin)
Q_IMPORT_QML_PLUGIN(Velmora_PlatformPlugin)
Q_IMPORT_QML_PLUGIN(Velmora_LargeFilesPlugin)
Q_IMPORT_QML_PLUGIN(Velmora_DuplicatesPlugin)
Q_IMPORT_QML_PLUGIN(Velmora_CleanupPlugin)
Q_IMPORT_QML_PLUGIN(Velmora_UninstallerPlugin)
Q_IMPORT_QML_PLUGIN(Velmora_ProtectionPlugin)
Q_IMPORT_QML_PLUGIN(Velmora_FullAnalysisPlugin)
