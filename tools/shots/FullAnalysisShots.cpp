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
    QMetaObject::invokeMethod(button, "clicked");
    session.settle(50);
    if (!coordinator->isRunning())
        session.failed(QStringLiteral("the full analysis did not start"));
    session.shootNow(QStringLiteral("fullanalysis-running"));
    if (!session.waitFor([&] { return !coordinator->isRunning(); }))
        session.failed(QStringLiteral("the full analysis did not finish"));
    session.shoot(QStringLiteral("fullanalysis-finished"));

    coordinator->setErrorMessage(
        QStringLiteral("Uno de los análisis tardó demasiado y fue omitido."));
    session.shoot(QStringLiteral("fullanalysis-error"));
    coordinator->clearError();

    QMetaObject::invokeMethod(sheet, "openModule", Q_ARG(QVariant, QStringLiteral("protection")),
                              Q_ARG(QVariant, 2));
    session.settle(400);
    session.shoot(QStringLiteral("fullanalysis-protection-suspicious"));
    if (QObject *back = session.find(QStringLiteral("backButton")))
        QMetaObject::invokeMethod(back, "clicked");
    session.settle(400);
    session.shoot(QStringLiteral("fullanalysis-summary-again"));
    QMetaObject::invokeMethod(sheet, "openModule", Q_ARG(QVariant, QStringLiteral("largeFiles")),
                              Q_ARG(QVariant, 0));
    session.settle(400);
    session.shoot(QStringLiteral("fullanalysis-largefiles"));
    session.showDashboard();
    session.settle(400);
    QMetaObject::invokeMethod(sheet, "close");
    session.settle(100);
}
