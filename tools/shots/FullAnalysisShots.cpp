#include "FullAnalysisCoordinator.h"
#include "ShotSession.h"

#include <QVariant>

// The full analysis sheet on the demo tree: running, finished, and a module
// opened from it on the run's results.
void shootFullAnalysis(ShotSession &session)
{
    QObject *button = session.find(QStringLiteral("quickAnalysisButton"));
    QObject *sheet = session.find(QStringLiteral("fullAnalysisSheet"));
    auto *coordinator =
        sheet ? sheet->property("coordinator").value<FullAnalysisCoordinator *>() : nullptr;
    if (!button || !coordinator) {
        session.failed(QStringLiteral("no full analysis on the dashboard"));
        return;
    }
    // Held at the first folder of its first step's walk, so the sheet shows
    // the same step and figures on every run.
    ShotGate::close(ShotGate::Point::folder);
    QMetaObject::invokeMethod(button, "clicked");
    session.drawNow();
    if (!session.waitFor([] { return ShotGate::reached(); }, 20000) || !coordinator->isRunning())
        session.failed(QStringLiteral("the full analysis did not start"));
    session.settle(400);
    session.shootNow(QStringLiteral("fullanalysis-running"));
    ShotGate::open();
    if (!session.waitFor([&] { return !coordinator->isRunning(); }))
        session.failed(QStringLiteral("the full analysis did not finish"));
    session.shoot(QStringLiteral("fullanalysis-finished"));

    coordinator->setErrorMessage(
        QStringLiteral("Uno de los análisis tardó demasiado y fue omitido."));
    session.shoot(QStringLiteral("fullanalysis-error"));
    coordinator->clearError();

    // Modules opened on the run's results, each with the selection its own
    // scan would have made, and back to the summary after each.
    const QList<std::tuple<QString, int, QString>> modules{
        {QStringLiteral("protection"), 2, QStringLiteral("fullanalysis-protection-suspicious")},
        {QStringLiteral("safeCleanup"), 0, QStringLiteral("fullanalysis-cleanup")},
        {QStringLiteral("largeFiles"), 0, QStringLiteral("fullanalysis-largefiles")}};
    for (const auto &[module, filter, name] : modules) {
        QMetaObject::invokeMethod(sheet, "openModule", Q_ARG(QVariant, module),
                                  Q_ARG(QVariant, filter));
        session.settle(400);
        session.shoot(name);
        if (module == QLatin1String("largeFiles"))
            break;
        if (QObject *back = session.find(QStringLiteral("backButton")))
            QMetaObject::invokeMethod(back, "clicked");
        session.settle(400);
        session.fixDiskFigures();
        if (module == QLatin1String("protection"))
            session.shoot(QStringLiteral("fullanalysis-summary-again"));
    }
    session.showDashboard();
    session.settle(400);
    QMetaObject::invokeMethod(sheet, "close");
    session.settle(100);
}
