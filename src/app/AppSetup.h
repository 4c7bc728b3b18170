#pragma once

class QQmlEngine;

// What the app, the screenshot tool and the screen tests set up alike.
namespace AppSetup {

// Names, the dark style and the rest of the process-wide settings.
void configureApplication();
// Makes the compiled-in QML modules importable.
void configureEngine(QQmlEngine &engine);
// Says on stderr when HOME or VELMORA_ROOT name folders that do not exist; the
// scanners then report the places they cannot open.
void warnAboutLayout();

} // namespace AppSetup
