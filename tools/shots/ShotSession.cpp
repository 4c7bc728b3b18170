#include "ShotSession.h"

#include "AppSetup.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QQuickItem>
#include <QQuickWindow>
#include <cstdio>

ShotSession::ShotSession(const QString &outDir) : m_outDir(outDir) {}

bool ShotSession::start()
{
    AppSetup::configureEngine(m_engine);
    m_engine.load(QUrl(QStringLiteral("qrc:/Velmora/app/Main.qml")));
    if (m_engine.rootObjects().isEmpty()) {
        std::fprintf(stderr, "velmora-shots: the main window did not load\n");
        return false;
    }
    m_window = qobject_cast<QQuickWindow *>(m_engine.rootObjects().constFirst());
    m_content = m_window ? m_window->findChild<QObject *>(QStringLiteral("contentView")) : nullptr;
    if (!m_content) {
        std::fprintf(stderr, "velmora-shots: no content view in the main window\n");
        return false;
    }
    m_window->resize(1120, 730);
    m_window->show();
    settle(400);
    return true;
}

void ShotSession::settle(int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

QQuickItem *ShotSession::find(const QString &objectName) const
{
    return m_window->findChild<QQuickItem *>(objectName);
}

bool ShotSession::shoot(const QString &name)
{
    settle();
    const QImage image = m_window->grabWindow();
    const QString path = QDir(m_outDir).filePath(name + QStringLiteral(".png"));
    if (image.isNull() || !image.save(path)) {
        std::fprintf(stderr, "velmora-shots: could not write %s\n", qPrintable(path));
        return false;
    }
    std::printf("%s\n", qPrintable(path));
    return true;
}

int ShotSession::renderAll()
{
    int failures = 0;
    auto shot = [&](const QString &name, const std::function<void()> &prepare) {
        prepare();
        if (!shoot(name))
            ++failures;
    };
    shot(QStringLiteral("dashboard"), [] {});
    for (const char *module :
         {"largeFiles", "duplicates", "safeCleanup", "uninstaller", "protection"}) {
        shot(QStringLiteral("workspace-") + QLatin1String(module),
             [&] { m_content->setProperty("selectedModule", QString::fromLatin1(module)); });
    }
    m_content->setProperty("selectedModule", QString());
    return failures;
}
