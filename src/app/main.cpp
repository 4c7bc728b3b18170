#include "AppSetup.h"
#include "ImportQmlPlugins.h"
#include "VelmoraApp.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQuickWindow>
#include <cstdio>
#include <memory>

namespace {

// VELMORA_STARTUP_REPORT=1 prints how long the first frame took, for measuring.
void reportFirstFrame(QQuickWindow *window, const QElapsedTimer &sinceStart)
{
    if (qEnvironmentVariableIsEmpty("VELMORA_STARTUP_REPORT"))
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

    VelmoraApp velmora;
    if (!velmora.load())
        return 1;
    reportFirstFrame(velmora.window(), sinceStart);
    velmora.finishLaunching();
    return app.exec();
}
