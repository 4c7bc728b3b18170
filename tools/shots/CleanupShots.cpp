#include "CleanupScanner.h"
#include "RunningApplications.h"
#include "ShotSession.h"
#include "SystemLayout.h"

#include <QFileInfo>
#include <QProcess>

// The safe cleanup screen on the demo caches, with one demo application running
// so that its caches are in use: results, confirmation, and an error.
void shootCleanup(ShotSession &session)
{
    QProcess app;
    const QString exe = SystemLayout::systemApplicationsFolder() +
                        QStringLiteral("/Lumen Notes.app/Contents/MacOS/Lumen Notes");
    if (!QFileInfo(exe).isExecutable()) {
        session.failed(QStringLiteral("no demo application to run: ") + exe);
    } else {
        app.start(exe, {});
        // Its caches are in use only once it is listed as running.
        if (!app.waitForStarted() ||
            !session.waitFor(
                [] {
                    for (const RunningApplication &r : RunningApplications::list())
                        if (r.localizedName == QLatin1String("Lumen Notes"))
                            return true;
                    return false;
                },
                10000))
            session.failed(QStringLiteral("the demo application did not start"));
    }

    QObject *screen = session.openModule(QStringLiteral("safeCleanup"));
    auto *scanner =
        screen ? qobject_cast<CleanupScanner *>(screen->property("scanner").value<QObject *>())
               : nullptr;
    if (!scanner) {
        session.failed(QStringLiteral("the safe cleanup screen has no scanner"));
        return;
    }
    if (!session.waitFor([&] { return scanner->completedScanCount() >= 1; }))
        session.failed(QStringLiteral("the cache scan did not finish"));
    session.shoot(QStringLiteral("cleanup-results"));
    if (QObject *list = session.find(QStringLiteral("cacheList"))) {
        QMetaObject::invokeMethod(list, "positionViewAtEnd");
        session.shoot(QStringLiteral("cleanup-protected"));
        QMetaObject::invokeMethod(list, "positionViewAtBeginning");
    }

    if (QObject *confirm = session.find(QStringLiteral("trashConfirmation"))) {
        QMetaObject::invokeMethod(confirm, "open");
        session.shoot(QStringLiteral("cleanup-confirm"));
        QMetaObject::invokeMethod(confirm, "close");
    }
    scanner->setErrorMessage(
        QStringLiteral("No fue posible mover: com.lumenlabs.LumenNotes. Cierra la "
                       "aplicación relacionada y vuelve a intentar."));
    session.shoot(QStringLiteral("cleanup-error"));
    scanner->clearError();

    if (app.state() != QProcess::NotRunning) {
        app.kill();
        app.waitForFinished();
    }
}
