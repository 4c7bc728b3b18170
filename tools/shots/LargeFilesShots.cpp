#include "ShotSession.h"
#include "StorageScanner.h"
#include "SystemLayout.h"

#include <QQmlProperty>

// The large files screen: empty, with the demo home's large files, with a
// selection, asking to confirm, and showing an error.
void shootLargeFiles(ShotSession &session)
{
    QObject *screen = session.openModule(QStringLiteral("largeFiles"));
    auto *scanner =
        screen ? qobject_cast<StorageScanner *>(screen->property("scanner").value<QObject *>())
               : nullptr;
    if (!scanner) {
        session.failed(QStringLiteral("the large files screen has no scanner"));
        return;
    }
    session.shoot(QStringLiteral("largefiles-empty"));

    screen->setProperty("minimumSizeMB", 100);
    scanner->scan(SystemLayout::homeFolder(), 100);
    if (!session.waitFor([&] { return scanner->completedScanCount() >= 1; }))
        session.failed(QStringLiteral("the large files scan did not finish"));
    session.shoot(QStringLiteral("largefiles-results"));

    const QList<LargeFileItem> files = scanner->files();
    for (int i = 0; i < files.size() && i < 3; ++i)
        scanner->toggleSelection(files.at(i));
    session.shoot(QStringLiteral("largefiles-selection"));

    if (QObject *confirm = session.find(QStringLiteral("trashConfirmation"))) {
        QMetaObject::invokeMethod(confirm, "open");
        session.shoot(QStringLiteral("largefiles-confirm"));
        QMetaObject::invokeMethod(confirm, "close");
    } else {
        session.failed(QStringLiteral("no confirmation dialog on the large files screen"));
    }

    const QString name = files.isEmpty() ? QStringLiteral("archivo.mov") : files.first().name;
    scanner->setErrorMessage(QStringLiteral("No fue posible mover: %1.").arg(name));
    session.shoot(QStringLiteral("largefiles-error"));
    scanner->clearError();
}
