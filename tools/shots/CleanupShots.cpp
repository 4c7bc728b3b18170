#include "CleanupScanner.h"
#include "RunningApplications.h"
#include "ShotSession.h"
#include "SystemLayout.h"

#include <QFileInfo>
#include <QMouseEvent>
#include <QProcess>
#include <QQuickItem>
#include <QQuickWindow>

namespace {

// The first shown badge of `text` below `item`.
QQuickItem *badgeOf(QQuickItem *item, const QString &text)
{
    for (QQuickItem *child : item->childItems()) {
        if (!child->isVisible())
            continue;
        if (child->objectName() == QLatin1String("rowBadge") &&
            child->property("text").toString() == text)
            return child;
        if (QQuickItem *found = badgeOf(child, text))
            return found;
    }
    return nullptr;
}

} // namespace

// The safe cleanup screen on the demo caches, with one demo application running
// so that its caches are in use: results, the in-use badge with its tooltip,
// confirmation, and an error.
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
    // The pointer rests on an "EN USO" badge: its tooltip names the application.
    if (QQuickItem *badge = badgeOf(session.window()->contentItem(), QStringLiteral("EN USO"))) {
        const QPointF at = badge->mapToScene(QPointF(badge->width() / 2, badge->height() / 2));
        QMouseEvent move(QEvent::MouseMove, at, session.window()->mapToGlobal(at), Qt::NoButton,
                         Qt::NoButton, Qt::NoModifier);
        QCoreApplication::sendEvent(session.window(), &move);
        session.settle(900);
        session.shoot(QStringLiteral("cleanup-in-use"));
        QMouseEvent away(QEvent::MouseMove, QPointF(2, 2),
                         session.window()->mapToGlobal(QPointF(2, 2)), Qt::NoButton, Qt::NoButton,
                         Qt::NoModifier);
        QCoreApplication::sendEvent(session.window(), &away);
        session.settle(300);
    } else {
        session.failed(QStringLiteral("no cache shows \"EN USO\" while its application runs"));
    }
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
