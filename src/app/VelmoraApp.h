#pragma once

#include "VelmoraWindowDelegate.h"

#include <QQmlApplicationEngine>

class QQuickWindow;

// The app as `velmora` composes it: the QML engine with the compiled-in modules,
// the main window and its placement after launching. The screenshot tool and the
// journey tests start this same composition, so they meet the wiring a user meets.
class VelmoraApp
{
public:
    VelmoraApp();

    // Loads the main window; false (with a line on stderr) when it did not load.
    bool load();
    // Places the window 0.35 s later, as the app does once launching has finished.
    void finishLaunching();

    QQmlApplicationEngine &engine() { return m_engine; }
    QQuickWindow *window() const { return m_window; }

private:
    QQmlApplicationEngine m_engine;
    VelmoraWindowDelegate m_delegate;
    QQuickWindow *m_window = nullptr;
};
