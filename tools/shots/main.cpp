// velmora-shots OUTDIR: renders every screen and dialog of the app, as it looks on
// the tree HOME and VELMORA_ROOT point at, into OUTDIR/<screen>-<state>.png.

#include "AppSetup.h"
#include "ImportQmlPlugins.h"
#include "ShotSession.h"

#include <QDir>
#include <QGuiApplication>
#include <cstdio>

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND"))
        qputenv("QT_QUICK_BACKEND", "software");
    QGuiApplication app(argc, argv);
    AppSetup::configureApplication();
    const QStringList args = app.arguments();
    if (args.size() != 2) {
        std::fprintf(stderr, "usage: velmora-shots OUTDIR\n");
        return 2;
    }
    const QString outDir = args.at(1);
    if (!QDir().mkpath(outDir)) {
        std::fprintf(stderr, "velmora-shots: cannot create %s\n", qPrintable(outDir));
        return 1;
    }
    ShotSession session(outDir);
    if (!session.start())
        return 1;
    const int failures = session.renderAll();
    return failures == 0 ? 0 : 1;
}
