#include "VelmoraWindowDelegate.h"

#include "AppSetup.h"
#include "ImportQmlPlugins.h"

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QUrl>

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    AppSetup::configureApplication();
    AppSetup::warnAboutLayout();

    QQmlApplicationEngine engine;
    AppSetup::configureEngine(engine);
    QObject::connect(
        &engine, &QQmlApplicationEngine::objectCreationFailed, &app,
        [] { QCoreApplication::exit(1); }, Qt::QueuedConnection);
    engine.load(QUrl(QStringLiteral("qrc:/Velmora/app/Main.qml")));

    VelmoraWindowDelegate delegate;
    delegate.applicationDidFinishLaunching();
    return app.exec();
}
