#include "VelmoraWindowDelegate.h"

#include "AppSetup.h"
#include "ImportQmlPlugins.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QUrl>
#include <atomic>
#include <cstdio>

namespace {

// VELMORA_STARTUP_REPORT=1 prints how long the first frame took, for measuring.
void reportFirstFrame(QQmlApplicationEngine &engine, const QElapsedTimer &sinceStart)
{
    if (qEnvironmentVariableIsEmpty("VELMORA_STARTUP_REPORT") || engine.rootObjects().isEmpty())
        return;
    auto *window = qobject_cast<QQuickWindow *>(engine.rootObjects().constFirst());
    if (!window)
        return;
    auto connection = std::make_shared<QMetaObject::Connection>();
    *connection = QObject::connect(
        window, &QQuickWindow::frameSwapped, window, [connection, elapsed = sinceStart] {
            std::fprintf(stderr, "velmora: first frame after %lld ms\n", elapsed.elapsed());
            QObject::disconnect(*connection);
        });
}

} // namespace

int main(int argc, char *argv[])
{
    QElapsedTimer sinceStart;
    sinceStart.start();
    QGuiApplication app(argc, argv);
    AppSetup::configureApplication();
    AppSetup::warnAboutLayout();

    QQmlApplicationEngine engine;
    AppSetup::configureEngine(engine);
    QObject::connect(
        &engine, &QQmlApplicationEngine::objectCreationFailed, &app,
        [] { QCoreApplication::exit(1); }, Qt::QueuedConnection);
    engine.load(QUrl(QStringLiteral("qrc:/Velmora/app/Main.qml")));
    reportFirstFrame(engine, sinceStart);

    VelmoraWindowDelegate delegate;
    delegate.applicationDidFinishLaunching();
    return app.exec();
}
