#pragma once

#include "VelmoraApp.h"

#include <QString>
#include <functional>
#include <memory>

class QQuickWindow;
class QQuickItem;
class ShotAnimationClock;

// Loads the real main window once and photographs it in each state.
class ShotSession
{
public:
    explicit ShotSession(const QString &outDir);
    ~ShotSession();

    bool start();
    // Renders every shot; returns how many could not be written.
    int renderAll();

    // For the per-module shot lists.
    bool shoot(const QString &name);
    // Without letting the event loop run first, so a state about to end is kept.
    bool shootNow(const QString &name);
    // Draws a frame at once: an animator asked to run starts with the next
    // frame, so a spinner shown by what was just done starts at the same moment
    // of the animations' clock on every run.
    void drawNow();
    void resize(int width, int height);
    void settle(int ms = 150);
    bool waitFor(const std::function<bool()> &condition, int timeoutMs = 60000);
    QObject *find(const QString &objectName) const;
    // Opens a module from the dashboard and returns its screen.
    QObject *openModule(const QString &module);
    void showDashboard();
    // The dashboard's disk figures, the same on every run.
    void fixDiskFigures();
    void failed(const QString &what);
    int failures() const { return m_failures; }
    QQuickWindow *window() const { return m_window; }

private:
    QString m_outDir;
    std::unique_ptr<ShotAnimationClock> m_clock; // installed before the window exists
    VelmoraApp m_app;
    QQuickWindow *m_window = nullptr;
    QObject *m_content = nullptr;
    int m_failures = 0;
};

// Holds the walks and comparisons of a scan in flight while closed (ShotGate.cpp).
namespace ShotGate {
enum class Point
{
    folder,     // every folder below a walk's root
    comparison, // a duplicate comparison's second megabyte
};
void close(Point point);
void open();
// Whether a walk or comparison has waited at the gate since it was closed.
bool reached();
} // namespace ShotGate

// Each module's shots.
void shootLargeFiles(ShotSession &session);
void shootCleanup(ShotSession &session);
void shootDuplicates(ShotSession &session);
void shootUninstaller(ShotSession &session);
void shootProtection(ShotSession &session);
void shootFullAnalysis(ShotSession &session);
void shootChooser(ShotSession &session);
void shootFocus(ShotSession &session);
void shootScanning(ShotSession &session);
void shootMinimumSize(ShotSession &session);
void shootLongScans(ShotSession &session);
void shootRemoval(ShotSession &session);
void shootHistory(ShotSession &session);
