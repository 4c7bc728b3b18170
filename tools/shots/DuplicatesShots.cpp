#include "DuplicateScanner.h"
#include "ShotSession.h"
#include "SystemLayout.h"

// The duplicates screen on the demo home: its groups with the copies selected,
// the confirmation, and a partial failure.
void shootDuplicates(ShotSession &session)
{
    QObject *screen = session.openModule(QStringLiteral("duplicates"));
    auto *scanner =
        screen ? qobject_cast<DuplicateScanner *>(screen->property("scanner").value<QObject *>())
               : nullptr;
    if (!scanner) {
        session.failed(QStringLiteral("the duplicates screen has no scanner"));
        return;
    }
    session.shoot(QStringLiteral("duplicates-empty"));
    scanner->scan(SystemLayout::homeFolder(), 10);
    if (!session.waitFor([&] { return scanner->completedScanCount() >= 1; }))
        session.failed(QStringLiteral("the duplicate scan did not finish"));
    session.shoot(QStringLiteral("duplicates-results"));
    if (QObject *confirm = session.find(QStringLiteral("trashConfirmation"))) {
        QMetaObject::invokeMethod(confirm, "open");
        session.shoot(QStringLiteral("duplicates-confirm"));
        QMetaObject::invokeMethod(confirm, "close");
    }
    const QString name = scanner->selectedFiles().isEmpty() ? QStringLiteral("copia.mov")
                                                            : scanner->selectedFiles().first().name;
    scanner->setErrorMessage(QStringLiteral("No fue posible mover: %1.").arg(name));
    session.shoot(QStringLiteral("duplicates-error"));
    scanner->clearError();
}
