#include "VelmoraApp.h"

#include "AppSetup.h"

#include <QQuickWindow>
#include <QUrl>
#include <cstdio>

VelmoraApp::VelmoraApp()
{
    AppSetup::configureEngine(m_engine);
}

bool VelmoraApp::load()
{
    m_engine.load(QUrl(QStringLiteral("qrc:/Velmora/app/Main.qml")));
    const QList<QObject *> roots = m_engine.rootObjects();
    m_window = roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow *>(roots.constFirst());
    if (!m_window)
        std::fprintf(stderr, "velmora: the main window did not load\n");
    return m_window != nullptr;
}

void VelmoraApp::finishLaunching()
{
    m_delegate.applicationDidFinishLaunching();
}
