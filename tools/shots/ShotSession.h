#pragma once

#include <QQmlApplicationEngine>
#include <QString>
#include <functional>

class QQuickWindow;
class QQuickItem;

// Loads the real main window once and photographs it in each state.
class ShotSession
{
public:
    explicit ShotSession(const QString &outDir);

    bool start();
    // Renders every shot; returns how many could not be written.
    int renderAll();

private:
    bool shoot(const QString &name);
    void settle(int ms = 120);
    QQuickItem *find(const QString &objectName) const;

    QString m_outDir;
    QQmlApplicationEngine m_engine;
    QQuickWindow *m_window = nullptr;
    QObject *m_content = nullptr;
};
